// The numbers and names by which the switch's parts know each other: formats and codes of messages, events, sizes that
// payloads have, addresses and names of services.
//
// They stand here once, for the daemon, the client library, the services and the tools alike: a firmware with numbers
// of its own changes this header, and the codecs (platform/wire) where the bytes differ too. docs/wire-formats.md shows
// every payload byte by byte.
#pragma once

#include "Hsb_Address.h"

#include <compare>
#include <cstddef>
#include <cstdint>

namespace MessageFormat {
inline constexpr std::uint16_t CNS = 2;
inline constexpr std::uint16_t ENS_EVENT = 3;
inline constexpr std::uint16_t ENS = 4;
inline constexpr std::uint16_t DS = 103;
inline constexpr std::uint16_t CMON = 105;
inline constexpr std::uint16_t PROBE = 108;
inline constexpr std::uint16_t EVENT_LOG = 109;
inline constexpr std::uint16_t MANAGEMENT = 0x4015;
}  // namespace MessageFormat

namespace CnsCode {
inline constexpr std::uint16_t REGISTER = 1;
inline constexpr std::uint16_t UNREGISTER = 2;
inline constexpr std::uint16_t LOOKUP = 3;
inline constexpr std::uint16_t LOOKUP_RESPONSE = 4;
}  // namespace CnsCode

namespace EnsEventCode {
inline constexpr std::uint16_t EVENT = 0;
}  // namespace EnsEventCode

namespace EnsCode {
inline constexpr std::uint16_t SUBSCRIBE = 1;
inline constexpr std::uint16_t UNSUBSCRIBE = 2;
inline constexpr std::uint16_t PRODUCER_ADD = 3;
inline constexpr std::uint16_t PRODUCER_REMOVE = 4;
// A producer hands the server an event for its subscribers; the payload is that of the event itself.
inline constexpr std::uint16_t PUBLISH = 5;
// The server to a consumer, once, when the consumer's first subscription has arrived: from now on it gets events.
inline constexpr std::uint16_t READY = 51;
}  // namespace EnsCode

// An event of the event service.
struct EventId {
    std::uint32_t category;
    std::uint32_t number;

    friend constexpr auto operator<=>(const EventId&, const EventId&) = default;
};

namespace EventCategory {
inline constexpr std::uint32_t LOG = 1;
inline constexpr std::uint32_t MONITOR = 2;
inline constexpr std::uint32_t MANAGEMENT = 66;
inline constexpr std::uint32_t IGNORED = 89;  // known, and of no use to the daemon
inline constexpr std::uint32_t NAMES = 90;
}  // namespace EventCategory

namespace SwitchEvent {
inline constexpr EventId LOG_RECORD{EventCategory::LOG, 0};
inline constexpr EventId INTERFACE_CHANGE{EventCategory::MONITOR, 56};
inline constexpr EventId STATE{EventCategory::MANAGEMENT, 3};
inline constexpr EventId HOSTNAME{EventCategory::NAMES, 0};
}  // namespace SwitchEvent

namespace DsCode {
inline constexpr std::uint16_t STATUS_REPLY = 1;
inline constexpr std::uint16_t ATTRIBUTE_REPLY = 2;
inline constexpr std::uint16_t BULK_REPLY = 9;
inline constexpr std::uint16_t CONNECT = 20;
inline constexpr std::uint16_t GET = 21;
inline constexpr std::uint16_t BULK_GET = 22;
inline constexpr std::uint16_t SET = 23;
// Answers CONNECT; the client library keeps it from the component and calls DSApiReady.
inline constexpr std::uint16_t CONNECTED = 50;
}  // namespace DsCode

// What the daemon asks the attribute store for: an answer repeats the id of its request.
namespace DsRequestId {
inline constexpr std::uint32_t IDENTITY = 0;
inline constexpr std::uint32_t SEND_CLIENT = 1;
inline constexpr std::uint32_t PROFILE_INITIAL = 2;
inline constexpr std::uint32_t PROFILE_EMAIL = 3;
inline constexpr std::uint32_t PROFILE_CAPTURE_TYPES = 4;
inline constexpr std::uint32_t PROFILE_CAPTURE_ATTRS = 5;
inline constexpr std::uint32_t FEATURE_FLAG = 6;
inline constexpr std::uint32_t SERVICES = 7;
inline constexpr std::uint32_t SWITCH_STATE = 8;
inline constexpr std::uint32_t NUMBER_OF_PROFILES = 9;
inline constexpr std::uint32_t PROFILE_MARKER = 10;
inline constexpr std::uint32_t QUEUE = 11;
inline constexpr std::uint32_t ACTIVE_SERVER = 12;
inline constexpr std::uint32_t UNUSED = 13;  // nothing is asked for under it
}  // namespace DsRequestId

namespace CmonCode {
inline constexpr std::uint16_t READY_FOR_CONF = 1;
inline constexpr std::uint16_t CONF_READ_ACK = 2;
inline constexpr std::uint16_t READ_CONF = 96;
inline constexpr std::uint16_t START = 97;
}  // namespace CmonCode

namespace ProbeCode {
inline constexpr std::uint16_t DUMP_STATE = 0;
inline constexpr std::uint16_t REPLY = 100;
}  // namespace ProbeCode

namespace EventLogCode {
inline constexpr std::uint16_t ENTRY = 1;
inline constexpr std::uint16_t ALARM = 2;
}  // namespace EventLogCode

namespace ManagementCode {
inline constexpr std::uint16_t PROFILE_CHANGE = 1;
inline constexpr std::uint16_t TEST_PROFILE = 2;
inline constexpr std::uint16_t CLEAR_QUEUE = 3;
inline constexpr std::uint16_t PROFILE_PROCESSED_INFO = 4;
inline constexpr std::uint16_t CHANGEOVER = 5;
inline constexpr std::uint16_t MESG_Q_INFO = 6;
// What a response's code has more than its request's.
inline constexpr std::uint16_t RESPONSE = 100;
inline constexpr std::uint16_t PROFILE_CHANGE_RESPONSE = RESPONSE + PROFILE_CHANGE;
inline constexpr std::uint16_t TEST_PROFILE_RESPONSE = RESPONSE + TEST_PROFILE;
inline constexpr std::uint16_t CLEAR_QUEUE_RESPONSE = RESPONSE + CLEAR_QUEUE;
inline constexpr std::uint16_t PROFILE_PROCESSED_INFO_RESPONSE = RESPONSE + PROFILE_PROCESSED_INFO;
inline constexpr std::uint16_t CHANGEOVER_RESPONSE = RESPONSE + CHANGEOVER;
inline constexpr std::uint16_t MESG_Q_INFO_RESPONSE = RESPONSE + MESG_Q_INFO;
// Not an answer: tells how a test message fared, once that is known.
inline constexpr std::uint16_t TEST_PROFILE_RESULTS = 107;
}  // namespace ManagementCode

// Status words of the responses.
namespace ManagementStatus {
inline constexpr std::uint32_t DONE = 0;
inline constexpr std::uint32_t UPDATING_PROFILES = 2;
inline constexpr std::uint32_t CLEAR_FAILED = 4;
inline constexpr std::uint32_t NO_MEMORY = 5;
inline constexpr std::uint32_t TEST_NOT_BUILT = 6;
inline constexpr std::uint32_t CHANGEOVER_FAILED = 7;
}  // namespace ManagementStatus

// Bytes of requests, of what responses begin with, and of the information blocks and their fields.
namespace ManagementSize {
inline constexpr std::size_t NAME = 36;
inline constexpr std::size_t REQUEST = 8;  // a handle, and a word that nobody reads
inline constexpr std::size_t TEST_REQUEST = REQUEST + NAME;
inline constexpr std::size_t RESPONSE = 8;    // handle and status
inline constexpr std::size_t INFO_START = 8;  // of both blocks: says nothing
inline constexpr std::size_t LAST_PROCESSED = 64;
inline constexpr std::size_t PROCESSED_ENTRY = NAME + 4 + LAST_PROCESSED;
}  // namespace ManagementSize

// A socket address in the data of an interface change, laid out as on the switch, whatever this machine's are like:
// a word of 16 bits for the family, one for the port, and the address.
namespace SwitchSocket {
inline constexpr std::size_t SLOT = 128;
inline constexpr std::uint16_t FAMILY_IPV4 = 2;
inline constexpr std::uint16_t FAMILY_IPV6 = 10;
inline constexpr std::size_t IPV4_OFFSET = 4;
inline constexpr std::size_t IPV4_SIZE = 4;
inline constexpr std::size_t IPV6_OFFSET = 8;  // flow information before it, the scope behind it
inline constexpr std::size_t IPV6_SIZE = 16;
}  // namespace SwitchSocket

// The fixed addresses of the switch's service components: node 0, one process number per service, slot 0.
namespace ServiceAddress {
inline constexpr Hsb_Address NAMES{0, 1, 0};
inline constexpr Hsb_Address EVENTS{0, 2, 0};
inline constexpr Hsb_Address ATTRIBUTES{0, 3, 0};
inline constexpr Hsb_Address MONITOR{0, 4, 0};
inline constexpr Hsb_Address MANAGEMENT{0, 5, 0};
inline constexpr Hsb_Address EVENT_LOG{0, 6, 0};
inline constexpr Hsb_Address OPERATOR{0, 7, 0};

inline bool isService(const Hsb_Address& address) {
    return address.node == 0;
}
}  // namespace ServiceAddress

// What the name service is asked for, and with what.
namespace CnsName {
inline constexpr const char* EVENT_SERVER = "ENS";
inline constexpr const char* MANAGEMENT = "SM";
inline constexpr const char* PRIMARY = "primary";
inline constexpr std::int32_t LOOKUP_KIND = 3;
inline constexpr std::int32_t LOOKUP_OPTIONS = 128;
}  // namespace CnsName
