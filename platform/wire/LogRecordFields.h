// The 312 bytes of a switch log record (Sw_Log_Type), for whoever carries one.
#pragma once

#include "Sw_Log_Type.h"

inline constexpr auto LOG_RECORD_FIELDS = [](auto& io, auto& record) {
    constexpr std::size_t PADDING = 2;  // the text begins on a word
    io(record.kind, record.number, record.slot, record.chip, record.port, record.spare, record.flags);
    io(record.componentClass, record.seconds, record.microseconds);
    io(record.location1, record.location2, record.locationIndex);
    io.terminatedSlot(record.locationName1, Sw_Log_Type::NAME_SIZE);
    io.terminatedSlot(record.locationName2, Sw_Log_Type::NAME_SIZE);
    io.padding(PADDING);
    io.terminatedSlot(record.text, Sw_Log_Type::TEXT_SIZE);
};
