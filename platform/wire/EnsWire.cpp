#include "platform/wire/EnsWire.h"

#include "platform/wire/Wire.h"

std::vector<std::uint8_t> EnsEventData::encode() const {
    return WireWriter(8 + data.size()).u32(category).u32(number).bytes(data).take();
}

std::optional<EnsEventData> EnsEventData::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    EnsEventData message;
    message.category = reader.u32();
    message.number = reader.u32();
    message.data = reader.rest();
    return reader.done() ? std::optional(message) : std::nullopt;
}

std::vector<std::uint8_t> EnsRequest::encode() const {
    return WireWriter(8).u32(category).u32(event).take();
}

std::optional<EnsRequest> EnsRequest::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    EnsRequest message;
    message.category = reader.u32();
    message.event = reader.u32();
    return reader.done() ? std::optional(message) : std::nullopt;
}
