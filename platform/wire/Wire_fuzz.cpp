// Any bytes at all as the payload of any message: none is read beyond its end, and what was read can be written and
// read again. The first byte chooses the message.
#include "Sw_Log_Type.h"
#include "platform/wire/CmonWire.h"
#include "platform/wire/CnsWire.h"
#include "platform/wire/DsWire.h"
#include "platform/wire/EnsWire.h"
#include "platform/wire/EventLogWire.h"
#include "platform/wire/ManagementWire.h"
#include "platform/wire/SocketAddress.h"

#include <cstdlib>
#include <iterator>

namespace {

using Bytes = std::span<const std::uint8_t>;

template <typename Message>
void readAndWrite(Bytes payload) {
    if (const auto message = Message::decode(payload)) {
        const auto written = message->encode();
        const auto again = Message::decode(written);
        if (!again || again->encode() != written) {
            std::abort();
        }
    }
}

template <typename Block>
void read(Bytes block) {
    [[maybe_unused]] const auto info = Block::decode(block);
}

void readRecord(Bytes data) {
    Sw_Log_Type record;
    if (Sw_Log_Type::decode(data, record) == 0 && record.encode().size() != Sw_Log_Type::SIZE) {
        std::abort();
    }
}

void readAddresses(Bytes data) {
    readAndWrite<InterfaceChange>(data);
    if (const auto change = InterfaceChange::decode(data)) {
        for (const SocketAddress::Slot& slot : change->addresses) {
            const auto text = SocketAddress::text(slot);
            if (text && !SocketAddress::encode(*text)) {
                std::abort();
            }
        }
    }
}

constexpr void (*READERS[])(Bytes) = {
    readAndWrite<CnsRegister>,
    readAndWrite<CnsUnregister>,
    readAndWrite<CnsLookup>,
    readAndWrite<CnsLookupResponse>,
    readAndWrite<EnsEventData>,
    readAndWrite<EnsRequest>,
    readAndWrite<DsConnect>,
    readAndWrite<DsGet>,
    readAndWrite<DsBulkGet>,
    readAndWrite<DsSet>,
    readAndWrite<DsAttributeAnswer>,
    readAndWrite<DsBulkAnswer>,
    readAndWrite<DsStatusAnswer>,
    readAndWrite<CmonConfReadAck>,
    readAndWrite<EventLogEntry>,
    readAndWrite<ManagementRequest>,
    readAndWrite<TestProfileRequest>,
    readAndWrite<ManagementResponse>,
    readAndWrite<TestProfileResponse>,
    readAndWrite<InfoResponse>,
    readAndWrite<TestProfileResults>,
    read<ProcessedInfo>,
    read<QueueInfo>,
    readRecord,
    readAddresses,
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 0) {
        READERS[data[0] % std::size(READERS)]({data + 1, size - 1});
    }
    return 0;
}
