#include "switchd/services/ManagementService.h"

#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "platform/wire/ManagementWire.h"
#include "platform/wire/Wire.h"

#include <utility>

namespace {

constexpr std::size_t HANDLE_SIZE = 4;

}  // namespace

ManagementService::ManagementService(Transport& transport) : Service(transport, ServiceAddress::MANAGEMENT) {
}

std::uint32_t ManagementService::request(const Hsb_Address& component, std::uint16_t code,
                                         std::span<const std::uint8_t> payload, Answered answered) {
    const std::uint32_t handle = sendRequest(component, code, payload);
    pending_[handle] = {component, static_cast<std::uint16_t>(code + ManagementCode::RESPONSE), std::move(answered)};
    return handle;
}

void ManagementService::requestOnly(const Hsb_Address& component, std::uint16_t code,
                                    std::span<const std::uint8_t> payload) {
    sendRequest(component, code, payload);
}

std::uint32_t ManagementService::sendRequest(const Hsb_Address& component, std::uint16_t code,
                                             std::span<const std::uint8_t> payload) {
    do {
        ++lastHandle_;
    } while (lastHandle_ == 0 || pending_.contains(lastHandle_));
    WireWriter writer(payload.size());
    if (payload.size() >= HANDLE_SIZE) {
        writer.u32(lastHandle_).bytes(payload.subspan(HANDLE_SIZE));
    } else {
        writer.bytes(payload);
    }
    send(component, MessageFormat::MANAGEMENT, code, writer.take());
    return lastHandle_;
}

TestResults ManagementService::lastResults() const {
    TestResults results;
    for (const auto& [profile, status] : lastResults_) {
        results.results.push_back({profile, status});
    }
    return results;
}

void ManagementService::receive(Hsb_Message& message) {
    if (message.format() != MessageFormat::MANAGEMENT) {
        return;
    }
    messages_.tell(message);
    if (message.code() == ManagementCode::TEST_PROFILE_RESULTS) {
        handleResults(message);
    } else {
        handleResponse(message);
    }
}

void ManagementService::handleResponse(const Hsb_Message& message) {
    WireReader reader(message.payload());
    const auto known = pending_.find(reader.u32());
    if (known == pending_.end() || known->second.responseCode != message.code() ||
        known->second.component != message.source()) {
        return;
    }
    const Answered answered = std::move(known->second.answered);
    pending_.erase(known);
    answered(&message);
}

void ManagementService::handleResults(const Hsb_Message& message) {
    if (const auto results = decodeFields<TestProfileResults>(message.payload())) {
        lastResults_[results->name] = results->status;
        results_.tell({results->name, results->status});
    }
}

void ManagementService::peerLeft(const Hsb_Address& process) {
    std::vector<Answered> unanswered;
    std::erase_if(pending_, [&](auto& entry) {
        const bool gone = belongsTo(entry.second.component, process);
        if (gone) {
            unanswered.push_back(std::move(entry.second.answered));
        }
        return gone;
    });
    for (const Answered& answered : unanswered) {
        answered(nullptr);
    }
}
