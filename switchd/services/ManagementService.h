// The switch's management component "SM": sends management requests (format 0x4015) to components on behalf of
// operators and brings their responses back.
//
// Each request gets a handle of its own, by which its response is known. Test results come without being asked for;
// the last one for each profile is kept. Main thread only.
#pragma once

#include "switchd/services/Observers.h"
#include "switchd/services/OperatorWire.h"
#include "switchd/services/Service.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

class Hsb_Message;

class ManagementService final : public Service {
public:
    // The response, or null when the component left the bus before it gave one. The message lives for the call.
    using Answered = std::function<void(const Hsb_Message*)>;

    explicit ManagementService(Transport& transport);

    // Sends a request; the first word of a payload of at least four bytes is replaced by the handle, which is
    // returned. answered is called at most once, never from within this.
    std::uint32_t request(const Hsb_Address& component, std::uint16_t code, std::span<const std::uint8_t> payload,
                          Answered answered);
    // Sends a request for whose response nobody waits.
    void requestOnly(const Hsb_Address& component, std::uint16_t code, std::span<const std::uint8_t> payload);
    // Nobody waits for this request's response any more.
    void forget(std::uint32_t handle) { pending_.erase(handle); }

    // The last result for each profile, by name.
    TestResults lastResults() const;

    void receive(Hsb_Message& message) override;
    void peerLeft(const Hsb_Address& process) override;

    // Told of every management message that comes in, whoever waits for it.
    Observers<Hsb_Message>& messages() { return messages_; }
    // Told of each test result.
    Observers<TestResults::Result>& results() { return results_; }

private:
    struct Pending {
        Hsb_Address component;
        std::uint16_t responseCode = 0;
        Answered answered;
    };

    std::uint32_t sendRequest(const Hsb_Address& component, std::uint16_t code, std::span<const std::uint8_t> payload);
    void handleResponse(const Hsb_Message& message);
    void handleResults(const Hsb_Message& message);

    std::map<std::uint32_t, Pending> pending_;  // by handle
    std::uint32_t lastHandle_ = 0;
    std::map<std::string, std::uint32_t> lastResults_;
    Observers<Hsb_Message> messages_;
    Observers<TestResults::Result> results_;
};
