// What a mail could not be sent for, as orv_log::kSendFailed names it: those that tell an operator something of their
// own.
#pragma once

namespace orv_reason {

inline constexpr const char* kResponse = "SMTP RESPONSE Error";  // a reply that was not the one wanted
inline constexpr const char* kResolve = "DNS Hostname Resolve Error";
inline constexpr const char* kConnect = "Connect Error";
inline constexpr const char* kSocketClosed = "Socket Closed Error";

}  // namespace orv_reason
