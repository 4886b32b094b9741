#include "switchctl/client/Management.h"

#include "MessageCodes.h"
#include "switchctl/text/Errors.h"

#include <strings.h>

#include <algorithm>
#include <utility>

namespace Management {
namespace {

struct StatusText {
    std::uint32_t status;
    const char* meaning;
};

constexpr StatusText STATUS_TEXTS[] = {
    {ManagementStatus::UPDATING_PROFILES, UPDATING},
    {ManagementStatus::CLEAR_FAILED, "the queue cannot be cleared"},
    {ManagementStatus::NO_MEMORY, "orvApp is out of memory"},
    {ManagementStatus::TEST_NOT_BUILT, "the test message cannot be made"},
    {ManagementStatus::CHANGEOVER_FAILED,
     "there is no other mail server to change to, or configuration is being updated"},
};

bool onlyAsks(std::uint16_t code) {
    return code == ManagementCode::MESG_Q_INFO || code == ManagementCode::PROFILE_PROCESSED_INFO;
}

}  // namespace

const char* meaningOf(std::uint32_t status) {
    const auto* const found = std::ranges::find(STATUS_TEXTS, status, &StatusText::status);
    return found == std::ranges::end(STATUS_TEXTS) ? "orvApp does not say why" : found->meaning;
}

bool isDaemon(const std::string& component) {
    return strcasecmp(component.c_str(), DAEMON) == 0;
}

Response call(Session& session, std::uint16_t code, const WireBytes& payload) {
    const ManagementCall request{DAEMON, code, true, payload};
    const WireBytes body = onlyAsks(code)
                               ? session.client.call(OperatorCode::MANAGEMENT, encodeFields(request), DAEMON)
                               : session.client.change(OperatorCode::MANAGEMENT, encodeFields(request), DAEMON);
    const auto answer = OperatorClient::decode<ManagementAnswer>(body);
    // Every response begins with handle and status.
    const auto start = decodeFields<ManagementResponse>(
        answer.payload.first(std::min<std::size_t>(answer.payload.size(), ManagementSize::RESPONSE)));
    if (!start) {
        throw Refused("orvApp's response cannot be read");
    }
    return {answer.code, start->status, {answer.payload.begin(), answer.payload.end()}};
}

void check(const Response& response) {
    if (response.status != ManagementStatus::DONE) {
        refuse(meaningOf(response.status), response.status);
    }
}

void refuse(const std::string& meaning, std::uint32_t status) {
    throw Refused("refused: " + meaning + " (" + std::to_string(status) + ")", status);
}

Response request(Session& session, std::uint16_t code) {
    Response response = call(session, code, encodeFields(ManagementRequest{}));
    check(response);
    return response;
}

QueueInfo queue(Session& session) {
    const Response response = request(session, ManagementCode::MESG_Q_INFO);
    const auto whole = decodeFields<InfoResponse>(response.payload);
    const auto info = whole ? QueueInfo::decode(whole->info) : std::nullopt;
    if (!info) {
        throw Refused("orvApp's queue information cannot be read");
    }
    return *info;
}

ProcessedInfo processed(Session& session) {
    const Response response = request(session, ManagementCode::PROFILE_PROCESSED_INFO);
    const auto whole = decodeFields<InfoResponse>(response.payload);
    auto info = whole ? ProcessedInfo::decode(whole->info) : std::nullopt;
    if (!info) {
        throw Refused("orvApp's profile information cannot be read");
    }
    return std::move(*info);
}

bool announceChange(Session& session, const std::string& done) {
    try {
        request(session, ManagementCode::PROFILE_CHANGE);
        return true;
    } catch (const Refused& error) {
        if (error.status != OperatorStatus::NO_COMPONENT) {
            throw Refused(done + ", but " + error.what());
        }
        session.note(done + "; orvApp does not run and will read it when it starts");
        return false;
    } catch (const NoAnswer& error) {
        throw NoAnswer(done + ", but " + error.what());
    }
}

}  // namespace Management
