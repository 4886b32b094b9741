#include "Sw_Log_Type.h"

#include "platform/wire/Fields.h"
#include "platform/wire/LogRecordFields.h"

#include <algorithm>

int Sw_Log_Type::decode(std::span<const std::uint8_t> data, Sw_Log_Type& record) {
    auto read = decodeFields<Sw_Log_Type>(data.first(std::min(data.size(), SIZE)), LOG_RECORD_FIELDS);
    if (!read) {
        return -1;
    }
    record = std::move(*read);
    return 0;
}

std::vector<std::uint8_t> Sw_Log_Type::encode() const {
    return encodeFields(*this, LOG_RECORD_FIELDS);
}
