#include "platform/wire/ManagementWire.h"

#include "MessageCodes.h"
#include "platform/wire/Wire.h"

using namespace ManagementSize;

std::vector<std::uint8_t> ManagementRequest::encode() const {
    return WireWriter(8).u32(handle).u32(spare).take();
}

std::optional<ManagementRequest> ManagementRequest::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    ManagementRequest message;
    message.handle = reader.u32();
    message.spare = reader.u32();
    return reader.done() ? std::optional(message) : std::nullopt;
}

std::vector<std::uint8_t> TestProfileRequest::encode() const {
    return WireWriter(8 + NAME).u32(handle).u32(spare).terminatedText(name, NAME).take();
}

std::optional<TestProfileRequest> TestProfileRequest::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    TestProfileRequest message;
    message.handle = reader.u32();
    message.spare = reader.u32();
    message.name = reader.fixedText(NAME);
    return reader.done() ? std::optional(std::move(message)) : std::nullopt;
}

std::vector<std::uint8_t> ManagementResponse::encode() const {
    return WireWriter(8).u32(handle).u32(status).take();
}

std::optional<ManagementResponse> ManagementResponse::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    ManagementResponse message;
    message.handle = reader.u32();
    message.status = reader.u32();
    return reader.done() ? std::optional(message) : std::nullopt;
}

std::vector<std::uint8_t> TestProfileResponse::encode() const {
    return WireWriter(8 + NAME).u32(handle).u32(status).terminatedText(name, NAME).take();
}

std::optional<TestProfileResponse> TestProfileResponse::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    TestProfileResponse message;
    message.handle = reader.u32();
    message.status = reader.u32();
    message.name = reader.fixedText(NAME);
    return reader.done() ? std::optional(std::move(message)) : std::nullopt;
}

std::vector<std::uint8_t> InfoResponse::encode() const {
    return WireWriter(8 + info.size()).u32(handle).u32(status).bytes(info).take();
}

std::optional<InfoResponse> InfoResponse::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    InfoResponse message;
    message.handle = reader.u32();
    message.status = reader.u32();
    message.info = reader.rest();
    return reader.done() ? std::optional(message) : std::nullopt;
}

std::vector<std::uint8_t> TestProfileResults::encode() const {
    return WireWriter(4 + NAME).u32(status).terminatedText(name, NAME).take();
}

std::optional<TestProfileResults> TestProfileResults::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    TestProfileResults message;
    message.status = reader.u32();
    message.name = reader.fixedText(NAME);
    return reader.done() ? std::optional(std::move(message)) : std::nullopt;
}

std::optional<ProcessedInfo> ProcessedInfo::decode(std::span<const std::uint8_t> block) {
    WireReader reader(block);
    reader.bytes(INFO_START);
    const std::size_t count = reader.u32();
    const std::size_t entries = count == 0 ? 1 : count;
    if (!reader.ok() || reader.remaining() % PROCESSED_ENTRY != 0 || reader.remaining() / PROCESSED_ENTRY != entries) {
        return std::nullopt;
    }
    ProcessedInfo info;
    info.profiles.resize(count);
    for (Profile& profile : info.profiles) {
        profile.name = reader.fixedText(NAME);
        profile.processed = reader.u32();
        profile.last = reader.fixedText(LAST_PROCESSED);
    }
    return info;
}

std::optional<QueueInfo> QueueInfo::decode(std::span<const std::uint8_t> block) {
    WireReader reader(block);
    reader.bytes(INFO_START);
    QueueInfo info;
    info.bytesInUse = reader.u32();
    info.waiting = reader.u32();
    info.open = reader.u32();
    return reader.done() ? std::optional(info) : std::nullopt;
}
