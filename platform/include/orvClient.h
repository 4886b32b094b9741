// Sends CallHome's management responses (format 0x4015, codes 101 to 107) to the management component.
//
// Every operation returns 0, or -1 when the component's address is not known yet or the message could not be
// sent. Main thread only.
#pragma once

#include "Hsb_Address.h"

#include <cstdint>
#include <span>
#include <string>

class Hsb_Component;

class orvClient {
public:
    // The management component's address is known: responses can go out from owner.
    void setReady(Hsb_Component* owner, const Hsb_Address& management);
    bool ready() const { return ready_; }

    [[nodiscard]] int CH_ProfileChangeResponse(std::uint32_t handle, std::uint32_t status);
    [[nodiscard]] int CH_TestProfileResponse(std::uint32_t handle, std::uint32_t status, const std::string& name);
    [[nodiscard]] int CH_TestProfileResults(std::uint32_t status, const std::string& name);
    [[nodiscard]] int CH_ClearQueueResponse(std::uint32_t handle, std::uint32_t status);
    // An empty info is sent as no information block.
    [[nodiscard]] int CH_ProfileProcessedInfoResponse(std::uint32_t handle, std::uint32_t status,
                                                      std::span<const std::uint8_t> info);
    [[nodiscard]] int CH_ChangeoverResponse(std::uint32_t handle, std::uint32_t status);
    [[nodiscard]] int CH_MesgQInfoResponse(std::uint32_t handle, std::uint32_t status,
                                           std::span<const std::uint8_t> info);

private:
    bool ready_ = false;
    Hsb_Component* owner_ = nullptr;  // Not owned; null until ready.
    Hsb_Address management_;
};
