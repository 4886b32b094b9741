#include "platform/wire/CmonWire.h"

#include "platform/wire/Wire.h"

std::vector<std::uint8_t> CmonConfReadAck::encode() const {
    return WireWriter(4).i32(status).take();
}

std::optional<CmonConfReadAck> CmonConfReadAck::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    CmonConfReadAck message;
    message.status = reader.i32();
    return reader.done() ? std::optional(message) : std::nullopt;
}
