// One message on the switch's bus: who sent it, where it goes, what it is (format and code) and its payload.
//
// The payload is a run of bytes; integers in it are big-endian and are read and written by the codec of the
// room that owns the format, never by laying a struct over it. Value type, owned by whoever holds it.
#pragma once

#include "Hsb_Address.h"

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

class Hsb_Message {
public:
    Hsb_Message() = default;
    Hsb_Message(std::uint16_t format, std::uint16_t code, std::vector<std::uint8_t> payload = {})
        : format_(format), code_(code), payload_(std::move(payload)) {}

    std::uint16_t format() const { return format_; }
    std::uint16_t code() const { return code_; }
    std::span<const std::uint8_t> payload() const { return payload_; }

    const Hsb_Address& source() const { return source_; }
    const Hsb_Address& destination() const { return destination_; }
    void source(const Hsb_Address& address) { source_ = address; }
    void destination(const Hsb_Address& address) { destination_ = address; }

    // Sends an answer (another one-way message) from the receiver of this message to its sender.
    // Main thread only. Returns 0, or -1 when it could not be sent.
    [[nodiscard]] int reply(std::uint16_t format, std::uint16_t code, std::vector<std::uint8_t> payload = {}) const;

private:
    std::uint16_t format_ = 0;
    std::uint16_t code_ = 0;
    Hsb_Address source_;
    Hsb_Address destination_;
    std::vector<std::uint8_t> payload_;
};
