#include "platform/wire/EventLogWire.h"

#include "platform/wire/Wire.h"

std::vector<std::uint8_t> EventLogEntry::encode() const {
    WireWriter writer(34 + component.size() + text.size());
    writer.i32(level).u32(id).i32(slot).i32(chip).i32(port).i32(spare).u32(flags);
    return writer.text16(component).text32(text).take();
}

std::optional<EventLogEntry> EventLogEntry::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    EventLogEntry entry;
    entry.level = reader.i32();
    entry.id = reader.u32();
    entry.slot = reader.i32();
    entry.chip = reader.i32();
    entry.port = reader.i32();
    entry.spare = reader.i32();
    entry.flags = reader.u32();
    entry.component = reader.text16();
    entry.text = reader.text32();
    return reader.done() ? std::optional(std::move(entry)) : std::nullopt;
}
