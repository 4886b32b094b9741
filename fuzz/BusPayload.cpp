// Any bytes at all as the payload of any message: none is read beyond its end, and what was read can be written and
// read again. The first byte chooses the message.
#include "MessageCodes.h"
#include "Sw_Log_Type.h"
#include "fuzz/Target.h"
#include "platform/wire/CmonWire.h"
#include "platform/wire/CnsWire.h"
#include "platform/wire/DsWire.h"
#include "platform/wire/EnsWire.h"
#include "platform/wire/EventLogWire.h"
#include "platform/wire/ManagementWire.h"
#include "platform/wire/SocketAddress.h"
#include "profile/OrvSwitchAddresses.h"
#include "switchd/services/OperatorWire.h"

#include <gtest/gtest.h>

#include <iterator>

namespace orv_fuzz {

namespace {

template <typename Message>
void readAndWrite(Bytes payload) {
    if (const auto message = decodeFields<Message>(payload)) {
        const auto written = encodeFields(*message);
        const auto again = decodeFields<Message>(written);
        ASSERT_TRUE(again);
        EXPECT_EQ(encodeFields(*again), written);
    }
}

template <typename Block>
void read(Bytes block) {
    [[maybe_unused]] const auto info = Block::decode(block);
}

void readFault(Bytes body) {
    if (const auto rule = FaultWire::decode(body)) {
        EXPECT_EQ(FaultWire::decode(FaultWire::encode(*rule)), rule);
    }
}

// An address that has a text is the address of that text; the daemon, which reads them too, takes one of each family.
void readAddresses(Bytes data) {
    readAndWrite<InterfaceChange>(data);
    if (const auto change = decodeFields<InterfaceChange>(data)) {
        for (const SocketAddress::Slot& slot : change->addresses) {
            const auto text = SocketAddress::text(slot);
            const auto again = text ? SocketAddress::encode(*text) : std::nullopt;
            ASSERT_EQ(again.has_value(), text.has_value());
            EXPECT_EQ(again ? SocketAddress::text(*again) : std::nullopt, text);
        }
    }
    constexpr std::size_t kWords = 8;
    int taken = 0;
    orvTakeSwitchAddresses(data.subspan(std::min(data.size(), kWords)), [&taken](int /*family*/, const char* text) {
        EXPECT_TRUE(SocketAddress::encode(text)) << text;
        ++taken;
    });
    EXPECT_LE(taken, 2);
}

constexpr void (*kReaders[])(Bytes) = {
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
    readAddresses,
    readAndWrite<OperatorRequest>,
    readAndWrite<OperatorReply>,
    readAndWrite<OneText>,
    readAndWrite<OneTag>,
    readAndWrite<KeyList>,
    readAndWrite<AttributeAnswers>,
    readAndWrite<ListRequest>,
    readAndWrite<AttributePage>,
    readAndWrite<ChangeRequest>,
    readAndWrite<LogRecord>,
    readAndWrite<RawEvent>,
    readAndWrite<LogRequest>,
    readAndWrite<LogPage>,
    readAndWrite<ComponentList>,
    readAndWrite<WaitRequest>,
    readAndWrite<ManagementCall>,
    readAndWrite<ManagementAnswer>,
    readAndWrite<TestResults>,
    readAndWrite<ProbeRequest>,
    readAndWrite<RawMessage>,
    readAndWrite<FaultList>,
    readFault,
};

void run(Bytes data) {
    if (!data.empty()) {
        kReaders[data[0] % std::size(kReaders)](data.subspan(1));
    }
}

// The first byte is the reader's place in the table above.
Seed seed(const char* name, char reader, const std::vector<std::uint8_t>& payload) {
    return {name, reader + textOf(payload)};
}

SocketAddress::Slot slotOf(const char* address) {
    return SocketAddress::encode(address, 25).value();
}

std::vector<Seed> seeds() {
    const std::vector<std::string> names{"Global.Callhome.SMTPPort", "Global.Callhome.SMTPEnable"};
    const DsValue value{names[0], dsClient::TYPE_STRING, 0, "25"};
    const std::uint8_t event[] = {1, 2, 3};
    WireWriter processed;
    processed.zeros(ManagementSize::INFO_START).u32(1).terminatedText("noc", 36).u32(7).terminatedText("Tue", 64);
    WireWriter waiting;
    waiting.zeros(ManagementSize::INFO_START).u32(2048).u32(3).u32(1);
    return {seed("cns_register", 0, encodeFields(CnsRegister{1, 0, "OrvApp"})),
            seed("cns_lookup", 2, encodeFields(CnsLookup{7, 1, 0, "SM", ""})),
            seed("cns_lookup_response", 3, encodeFields(CnsLookupResponse{7, {1, 100, 2}})),
            seed("ens_event", 4, encodeFields(EnsEventData{2, 56, event})),
            seed("ds_bulk_get", 8, encodeFields(DsBulkGet{3, names})),
            seed("ds_set", 9, encodeFields(DsSet{3, 1, 1, names[0], "587"})),
            seed("ds_attribute", 10, encodeFields(DsAttributeAnswer{3, value})),
            seed("ds_bulk", 11, encodeFields(DsBulkAnswer{3, {value, value}})),
            seed("ds_status", 12, encodeFields(DsStatusAnswer{3, -1})),
            seed("event_log", 14, encodeFields(EventLogEntry{15, 0x8B000001, -1, -1, -1, -1, 4096, "OrvApp", "Entry"})),
            seed("processed_info", 21, processed.take()),
            seed("queue_info", 22, waiting.take()),
            seed("addresses", 23, encodeFields(InterfaceChange{1, 1, {slotOf("10.1.2.3"), slotOf("2001:db8::1")}}))};
}

}  // namespace

const Target kBusPayload{"bus_payload", run, seeds};

}  // namespace orv_fuzz
