#include "switchctl/Management.h"

#include "platform/wire/ManagementWire.h"
#include "platform/wire/MessageCodes.h"
#include "switchctl/Errors.h"

namespace Management {
namespace {

struct StatusText {
    std::uint32_t status;
    const char* meaning;
};

constexpr StatusText STATUS_TEXTS[] = {
    {2, "it is reading its configuration; try again"},
    {4, "the queue could not be cleared"},
    {5, "it is out of memory"},
    {6, "the test message could not be made"},
    {7, "there is no other mail server to change to, or it is reading its configuration"},
};

std::string meaningOf(std::uint32_t status) {
    for (const StatusText& text : STATUS_TEXTS) {
        if (status == text.status) {
            return std::string(" (") + text.meaning + ")";
        }
    }
    return "";
}

}  // namespace

Response call(Session& session, std::uint16_t code, const WireBytes& payload) {
    const ManagementCall request{DAEMON, code, true, payload};
    const WireBytes body = session.client.call(OperatorCode::MANAGEMENT, request.encode(), DAEMON);
    const auto answer = OperatorClient::decode<ManagementAnswer>(body);
    // Every response begins with handle and status.
    const auto start =
        ManagementResponse::decode(answer.payload.first(std::min<std::size_t>(answer.payload.size(), 8)));
    if (!start) {
        throw Refused("orvApp's response cannot be read");
    }
    return {answer.code, start->status, {answer.payload.begin(), answer.payload.end()}};
}

void check(const Response& response, std::uint16_t code) {
    if (response.status != 0) {
        throw Refused("orvApp refused request " + std::to_string(code) + " with status " +
                      std::to_string(response.status) + meaningOf(response.status));
    }
}

Response request(Session& session, std::uint16_t code) {
    Response response = call(session, code, ManagementRequest{}.encode());
    check(response, code);
    return response;
}

void announceChange(Session& session) {
    try {
        request(session, ManagementCode::PROFILE_CHANGE);
    } catch (const Refused& error) {
        if (error.status != OperatorStatus::NO_COMPONENT) {
            throw;
        }
        session.note("stored; orvApp does not run and will read it when it starts");
    } catch (const NoAnswer& error) {
        throw NoAnswer(std::string("stored, but ") + error.what());
    }
}

}  // namespace Management
