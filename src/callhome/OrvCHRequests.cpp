#include "callhome/OrvCHRequests.h"

#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "base/OrvText.h"
#include "callhome/OrvCHConfigCycle.h"
#include "callhome/OrvCHIncoming.h"
#include "callhome/OrvCHSetUp.h"
#include "callhome/OrvInfoBlocks.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "mesgq/OrvCHMesgQ.h"
#include "orvClient.h"
#include "profile/OrvConfigListener.h"
#include "smtp/OrvCHClient.h"
#include "word_order.h"

#include <algorithm>
#include <new>
#include <string>
#include <vector>

namespace {

constexpr char kTraceModule[] = "OrvCallHome";

void traceUnsent(int result) {
    if (result < 0) {
        orvTrace(kTraceModule, "processOrvMsg", "response could not be sent\n");
    }
}

}  // namespace

struct OrvCHRequests::Request {
    std::uint16_t code;
    const char* name;
    std::size_t length;
    const OrvLogEntry<>& error;
    void (OrvCHRequests::*handler)(std::uint32_t handle, std::span<const std::uint8_t> payload);
};

const OrvCHRequests::Request OrvCHRequests::kRequests[] = {
    {ManagementCode::PROFILE_CHANGE, "CH Profile Change", ManagementSize::REQUEST, orv_log::kBadProfileChange,
     &OrvCHRequests::processOrvCHProfileChangeMsg},
    {ManagementCode::TEST_PROFILE, "CH Test Profile Cmd", ManagementSize::TEST_REQUEST, orv_log::kBadTestProfile,
     &OrvCHRequests::processOrvCHTestProfileCmdMsg},
    {ManagementCode::CLEAR_QUEUE, "CH Clear Queue Cmd", ManagementSize::REQUEST, orv_log::kBadClearQueue,
     &OrvCHRequests::processOrvCHClearQueueCmdMsg},
    {ManagementCode::PROFILE_PROCESSED_INFO, "CH Profile Processed Info", ManagementSize::REQUEST,
     orv_log::kBadProcessedInfo, &OrvCHRequests::processOrvCHProfileProcessedInfoMsg},
    {ManagementCode::CHANGEOVER, "CH Changeover Cmd", ManagementSize::REQUEST, orv_log::kBadChangeover,
     &OrvCHRequests::processOrvCHChangeoverCmdMsg},
    {ManagementCode::MESG_Q_INFO, "CH Message Queue Info", ManagementSize::REQUEST, orv_log::kBadQueueInfo,
     &OrvCHRequests::processOrvCHMesgQInfoMsg},
};

const OrvCHRequests::Request* OrvCHRequests::findRequest(std::uint16_t code) {
    const auto* found = std::find_if(std::begin(kRequests), std::end(kRequests),
                                     [code](const Request& request) { return request.code == code; });
    return found == std::end(kRequests) ? nullptr : found;
}

const char* OrvCHRequests::requestName(std::uint16_t code) {
    const Request* request = findRequest(code);
    return request == nullptr ? nullptr : request->name;
}

int OrvCHRequests::processOrvMsg(const Hsb_Message& message) {
    const Request* request = findRequest(message.code());
    if (request == nullptr) {
        return -1;
    }
    const std::span<const std::uint8_t> payload = message.payload();
    if (payload.size() != request->length) {
        orvLog(request->error);
        return -1;
    }
    (this->*request->handler)(bigEndian32(payload), payload);
    return 0;
}

void OrvCHRequests::processOrvCHProfileChangeMsg(std::uint32_t handle, std::span<const std::uint8_t> /*payload*/) {
    ORV_TRACE("received ORV_API_MSG_CH_PROFILE_CHANGE message\n");
    traceUnsent(responses_.CH_ProfileChangeResponse(handle, ManagementStatus::DONE));
    cycle_.readConfig();
}

void OrvCHRequests::processOrvCHTestProfileCmdMsg(std::uint32_t handle, std::span<const std::uint8_t> payload) {
    const std::string name = orvTextUpToNul(payload.subspan(ManagementSize::REQUEST));
    ORV_TRACE("received ORV_API_MSG_CH_TEST_PROFILE_CMD message for profile %s\n", name.c_str());
    const int result = orvGuarded("processOrvCHTestProfileCmdMsg", [&] { return incoming_.queueTestMesg(name); });
    traceUnsent(responses_.CH_TestProfileResponse(
        handle, result == 0 ? ManagementStatus::DONE : ManagementStatus::TEST_NOT_BUILT, name));
}

void OrvCHRequests::processOrvCHClearQueueCmdMsg(std::uint32_t handle, std::span<const std::uint8_t> /*payload*/) {
    ORV_TRACE("received ORV_API_MSG_CH_CLEAR_QUEUE_CMD message\n");
    const std::uint32_t status = queue_.clearQueue() == 0 ? ManagementStatus::DONE : ManagementStatus::CLEAR_FAILED;
    traceUnsent(responses_.CH_ClearQueueResponse(handle, status));
}

void OrvCHRequests::processOrvCHProfileProcessedInfoMsg(std::uint32_t handle,
                                                        std::span<const std::uint8_t> /*payload*/) {
    if (setUp_.config[OrvConfigListener::kProfiles]) {
        orvLog(orv_log::kProcessedUpdating);
        traceUnsent(responses_.CH_ProfileProcessedInfoResponse(handle, ManagementStatus::UPDATING_PROFILES, {}));
        return;
    }
    std::vector<std::uint8_t> info;
    try {
        std::vector<OrvProfileProcessed> processed;
        for (const auto& profile : setUp_.profiles) {
            processed.push_back({profile->name(), profile->processedCount(), profile->processedLast()});
        }
        info = orvProfileProcessedInfo(processed);
    } catch (const std::bad_alloc&) {
        traceUnsent(responses_.CH_ProfileProcessedInfoResponse(handle, ManagementStatus::NO_MEMORY, {}));
        return;
    }
    traceUnsent(responses_.CH_ProfileProcessedInfoResponse(handle, ManagementStatus::DONE, info));
}

void OrvCHRequests::processOrvCHChangeoverCmdMsg(std::uint32_t handle, std::span<const std::uint8_t> /*payload*/) {
    if (setUp_.config[OrvConfigListener::kSendClient]) {
        orvLog(orv_log::kChangeoverUpdating);
        traceUnsent(responses_.CH_ChangeoverResponse(handle, ManagementStatus::CHANGEOVER_FAILED));
        return;
    }
    ORV_TRACE("received ORV_API_MSG_CH_CHANGEOVER_CMD message\n");
    const std::uint32_t status =
        client_.changeover() == 0 ? ManagementStatus::DONE : ManagementStatus::CHANGEOVER_FAILED;
    traceUnsent(responses_.CH_ChangeoverResponse(handle, status));
}

void OrvCHRequests::processOrvCHMesgQInfoMsg(std::uint32_t handle, std::span<const std::uint8_t> /*payload*/) {
    ORV_TRACE("received ORV_API_MSG_CH_MESG_Q_INFO message\n");
    const std::uint32_t open = queue_.openCount();
    const std::vector<std::uint8_t> info = orvMesgQInfo(queue_.spaceInUse(), queue_.sendCount() - open, open);
    traceUnsent(responses_.CH_MesgQInfoResponse(handle, ManagementStatus::DONE, info));
}
