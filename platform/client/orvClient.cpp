#include "orvClient.h"

#include "MessageCodes.h"
#include "platform/client/request.h"
#include "platform/wire/ManagementWire.h"

#include <utility>

namespace {

template <typename Response>
int respond(bool ready, Hsb_Component* owner, const Hsb_Address& to, std::uint16_t code, Response&& response) {
    return ready ? request(owner, to, MessageFormat::MANAGEMENT, code, std::forward<Response>(response)) : -1;
}

}  // namespace

void orvClient::setReady(Hsb_Component* owner, const Hsb_Address& management) {
    owner_ = owner;
    management_ = management;
    ready_ = true;
}

int orvClient::CH_ProfileChangeResponse(std::uint32_t handle, std::uint32_t status) {
    return respond(ready_, owner_, management_, ManagementCode::PROFILE_CHANGE_RESPONSE, [&] {
        return encodeFields(ManagementResponse{handle, status});
    });
}

int orvClient::CH_TestProfileResponse(std::uint32_t handle, std::uint32_t status, const std::string& name) {
    return respond(ready_, owner_, management_, ManagementCode::TEST_PROFILE_RESPONSE, [&] {
        return encodeFields(TestProfileResponse{handle, status, name});
    });
}

int orvClient::CH_TestProfileResults(std::uint32_t status, const std::string& name) {
    return respond(ready_, owner_, management_, ManagementCode::TEST_PROFILE_RESULTS, [&] {
        return encodeFields(TestProfileResults{status, name});
    });
}

int orvClient::CH_ClearQueueResponse(std::uint32_t handle, std::uint32_t status) {
    return respond(ready_, owner_, management_, ManagementCode::CLEAR_QUEUE_RESPONSE, [&] {
        return encodeFields(ManagementResponse{handle, status});
    });
}

int orvClient::CH_ProfileProcessedInfoResponse(std::uint32_t handle, std::uint32_t status,
                                               std::span<const std::uint8_t> info) {
    return respond(ready_, owner_, management_, ManagementCode::PROFILE_PROCESSED_INFO_RESPONSE, [&] {
        return encodeFields(InfoResponse{handle, status, info});
    });
}

int orvClient::CH_ChangeoverResponse(std::uint32_t handle, std::uint32_t status) {
    return respond(ready_, owner_, management_, ManagementCode::CHANGEOVER_RESPONSE, [&] {
        return encodeFields(ManagementResponse{handle, status});
    });
}

int orvClient::CH_MesgQInfoResponse(std::uint32_t handle, std::uint32_t status, std::span<const std::uint8_t> info) {
    return respond(ready_, owner_, management_, ManagementCode::MESG_Q_INFO_RESPONSE, [&] {
        return encodeFields(InfoResponse{handle, status, info});
    });
}
