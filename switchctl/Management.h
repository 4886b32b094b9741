// Management requests to the daemon, and the one that nearly every setting ends with.
#pragma once

#include "switchctl/Session.h"

#include <cstdint>
#include <string>

namespace Management {

// The component that CallHome's requests go to.
inline constexpr const char* DAEMON = "orvApp";

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
// Throws Refused when the status is not 0.
void check(const Response& response, std::uint16_t code);

// Tells the daemon to read its profiles and settings anew. Nothing is lost when it does not run: it reads them when
// it starts; that is noted.
void announceChange(Session& session);

}  // namespace Management
