#include "platform/wire/ManagementWire.h"

#include "platform/wire/Wire.h"

std::optional<ProcessedInfo> ProcessedInfo::decode(std::span<const std::uint8_t> block) {
    WireReader reader(block);
    reader.bytes(ManagementSize::INFO_START);
    const std::size_t count = reader.u32();
    const std::size_t entries = count == 0 ? 1 : count;
    const std::size_t size = ManagementSize::PROCESSED_ENTRY;
    if (!reader.ok() || reader.remaining() % size != 0 || reader.remaining() / size != entries) {
        return std::nullopt;
    }
    ProcessedInfo info;
    info.profiles.resize(count);
    for (Profile& profile : info.profiles) {
        profile.name = reader.fixedText(ManagementSize::NAME);
        profile.processed = reader.u32();
        profile.last = reader.fixedText(ManagementSize::LAST_PROCESSED);
    }
    return info;
}
