// The formats of the switch's messages, and the codes within each.
//
// docs/wire-formats.md shows every payload byte by byte.
#pragma once

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
inline constexpr std::uint16_t PROFILE_CHANGE_RESPONSE = 101;
inline constexpr std::uint16_t TEST_PROFILE_RESPONSE = 102;
inline constexpr std::uint16_t CLEAR_QUEUE_RESPONSE = 103;
inline constexpr std::uint16_t PROFILE_PROCESSED_INFO_RESPONSE = 104;
inline constexpr std::uint16_t CHANGEOVER_RESPONSE = 105;
inline constexpr std::uint16_t MESG_Q_INFO_RESPONSE = 106;
// Not an answer: tells how a test message fared, once that is known.
inline constexpr std::uint16_t TEST_PROFILE_RESULTS = 107;
}  // namespace ManagementCode
