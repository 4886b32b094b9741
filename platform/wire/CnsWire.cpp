#include "platform/wire/CnsWire.h"

#include "platform/wire/Wire.h"

std::vector<std::uint8_t> CnsRegister::encode() const {
    return WireWriter().i32(kind).i32(options).text16(name).take();
}

std::optional<CnsRegister> CnsRegister::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    CnsRegister message;
    message.kind = reader.i32();
    message.options = reader.i32();
    message.name = reader.text16();
    return reader.done() ? std::optional(std::move(message)) : std::nullopt;
}

std::vector<std::uint8_t> CnsUnregister::encode() const {
    return WireWriter().text16(name).take();
}

std::optional<CnsUnregister> CnsUnregister::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    CnsUnregister message;
    message.name = reader.text16();
    return reader.done() ? std::optional(std::move(message)) : std::nullopt;
}

std::vector<std::uint8_t> CnsLookup::encode() const {
    return WireWriter().u32(tag).i32(kind).i32(options).text16(name).text16(instance).take();
}

std::optional<CnsLookup> CnsLookup::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    CnsLookup message;
    message.tag = reader.u32();
    message.kind = reader.i32();
    message.options = reader.i32();
    message.name = reader.text16();
    message.instance = reader.text16();
    return reader.done() ? std::optional(std::move(message)) : std::nullopt;
}

std::vector<std::uint8_t> CnsLookupResponse::encode() const {
    return WireWriter().u32(tag).address(address).take();
}

std::optional<CnsLookupResponse> CnsLookupResponse::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    CnsLookupResponse message;
    message.tag = reader.u32();
    message.address = reader.address();
    return reader.done() ? std::optional(message) : std::nullopt;
}
