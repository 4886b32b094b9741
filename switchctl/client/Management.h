// Management requests to the daemon, and the one that nearly every setting ends with.
#pragma once

#include "platform/wire/ManagementWire.h"
#include "switchctl/client/Session.h"

#include <cstdint>
#include <string>

namespace Management {

// The component that CallHome's requests go to.
inline constexpr const char* DAEMON = "orvApp";
// Whether this component is it.
bool isDaemon(const std::string& component);
// What the status of a response says, for one that is not 0.
const char* meaningOf(std::uint32_t status);
// Why it refuses what it cannot do meanwhile.
inline constexpr const char* UPDATING = "configuration is being updated";

// A response of the daemon: its status, and the bytes of the whole.
struct Response {
    std::uint16_t code = 0;
    std::uint32_t status = 0;
    WireBytes payload;
};

// Sends a request, whose first word becomes the handle, and waits for the response. Throws as OperatorClient::call.
Response call(Session& session, std::uint16_t code, const WireBytes& payload);
// As call, for a request that carries no more than its handle; throws Refused when the status is not 0.
Response request(Session& session, std::uint16_t code);
// Throws Refused, with the status in words, when it is not 0.
void check(const Response& response);
[[noreturn]] void refuse(const std::string& meaning, std::uint32_t status);

// The two that answer with more than a status. Throw Refused when the answer cannot be read.
QueueInfo queue(Session& session);
ProcessedInfo processed(Session& session);

// Tells the daemon to read its profiles and settings anew; whether it was there to be told. Nothing is lost when it
// does not run: it reads them when it starts; that is noted.
bool announceChange(Session& session, const std::string& done = "stored");

}  // namespace Management
