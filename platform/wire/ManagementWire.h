// CallHome's management requests and responses (format 0x4015).
//
// Profile names travel in slots of 36 bytes, padded with NUL; a longer name is cut so that a NUL remains.
#pragma once

#include "MessageCodes.h"
#include "platform/wire/Fields.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

// Codes 1, 3, 4, 5 and 6: 8 bytes. The response repeats the handle.
struct ManagementRequest {
    std::uint32_t handle = 0;
    std::uint32_t spare = 0;  // the daemon does not look at it

    static void fields(auto& io, auto& message) { io(message.handle, message.spare); }
};

// Code 2: 44 bytes.
struct TestProfileRequest {
    std::uint32_t handle = 0;
    std::uint32_t spare = 0;
    std::string name;

    static void fields(auto& io, auto& message) {
        io(message.handle, message.spare);
        io.terminatedSlot(message.name, ManagementSize::NAME);
    }
};

// Codes 101, 103 and 105.
struct ManagementResponse {
    std::uint32_t handle = 0;
    std::uint32_t status = 0;

    static void fields(auto& io, auto& message) { io(message.handle, message.status); }
};

// Code 102.
struct TestProfileResponse {
    std::uint32_t handle = 0;
    std::uint32_t status = 0;
    std::string name;

    static void fields(auto& io, auto& message) {
        io(message.handle, message.status);
        io.terminatedSlot(message.name, ManagementSize::NAME);
    }
};

// Codes 104 and 106: an information block follows the status, or nothing. The block is a view, as in EnsEventData.
struct InfoResponse {
    std::uint32_t handle = 0;
    std::uint32_t status = 0;
    std::span<const std::uint8_t> info;

    static void fields(auto& io, auto& message) {
        io(message.handle, message.status);
        io.rest(message.info);
    }
};

// Code 107.
struct TestProfileResults {
    std::uint32_t status = 0;
    std::string name;

    static void fields(auto& io, auto& message) {
        io(message.status);
        io.terminatedSlot(message.name, ManagementSize::NAME);
    }
};

// The information block of code 104: what each profile has processed. 12 bytes and 104 per profile; with no
// profiles the daemon still sends one entry, all zero.
struct ProcessedInfo {
    struct Profile {
        std::string name;
        std::uint32_t processed = 0;
        std::string last;  // when the last message was processed, as a text

        friend bool operator==(const Profile&, const Profile&) = default;
    };
    std::vector<Profile> profiles;

    static std::optional<ProcessedInfo> decode(std::span<const std::uint8_t> block);
};

// The information block of code 106: 20 bytes, of which the first 8 say nothing.
struct QueueInfo {
    std::uint32_t bytesInUse = 0;
    std::uint32_t waiting = 0;
    std::uint32_t open = 0;

    static void fields(auto& io, auto& info) {
        io.padding(ManagementSize::INFO_START);
        io(info.bytesInUse, info.waiting, info.open);
    }
    static std::optional<QueueInfo> decode(std::span<const std::uint8_t> block) {
        return decodeFields<QueueInfo>(block);
    }
};
