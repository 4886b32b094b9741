#include "platform/wire/DsWire.h"

#include "dsClient.h"
#include "platform/wire/Wire.h"

namespace {

constexpr std::size_t NAME_SLOT = dsClient::NAME_SLOT;

// Name slot, type, status and value length: the least that one attribute of an answer takes.
constexpr std::size_t SMALLEST_VALUE = NAME_SLOT + 12;

void write(WireWriter& writer, const DsValue& value) {
    writer.fixedText(value.name, NAME_SLOT).u32(value.type).i32(value.status).text32(value.value);
}

DsValue readValue(WireReader& reader) {
    DsValue value;
    value.name = reader.fixedText(NAME_SLOT);
    value.type = reader.u32();
    value.status = reader.i32();
    value.value = reader.text32();
    return value;
}

}  // namespace

std::vector<std::uint8_t> DsConnect::encode() const {
    return WireWriter(4).u32(version).take();
}

std::optional<DsConnect> DsConnect::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    DsConnect message;
    message.version = reader.u32();
    return reader.done() ? std::optional(message) : std::nullopt;
}

std::vector<std::uint8_t> DsGet::encode() const {
    return WireWriter(8 + NAME_SLOT).u32(id).u32(count).fixedText(name, NAME_SLOT).take();
}

std::optional<DsGet> DsGet::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    DsGet message;
    message.id = reader.u32();
    message.count = reader.u32();
    message.name = reader.fixedText(NAME_SLOT);
    return reader.done() ? std::optional(std::move(message)) : std::nullopt;
}

std::vector<std::uint8_t> DsBulkGet::encode() const {
    return encode(id, names);
}

std::vector<std::uint8_t> DsBulkGet::encode(std::uint32_t id, std::span<const std::string> names) {
    WireWriter writer(8 + names.size() * NAME_SLOT);
    writer.u32(id).u32(static_cast<std::uint32_t>(names.size()));
    for (const std::string& name : names) {
        writer.fixedText(name, NAME_SLOT);
    }
    return writer.take();
}

std::optional<DsBulkGet> DsBulkGet::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    DsBulkGet message;
    message.id = reader.u32();
    const std::size_t count = reader.u32();
    if (count > dsClient::MAX_BULK_NAMES || reader.remaining() != count * NAME_SLOT) {
        return std::nullopt;
    }
    message.names.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        message.names.push_back(reader.fixedText(NAME_SLOT));
    }
    return reader.done() ? std::optional(std::move(message)) : std::nullopt;
}

std::vector<std::uint8_t> DsSet::encode() const {
    WireWriter writer(16 + NAME_SLOT + value.size());
    return writer.u32(id).u32(type).u32(count).fixedText(name, NAME_SLOT).text32(value).take();
}

std::optional<DsSet> DsSet::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    DsSet message;
    message.id = reader.u32();
    message.type = reader.u32();
    message.count = reader.u32();
    message.name = reader.fixedText(NAME_SLOT);
    message.value = reader.text32();
    return reader.done() ? std::optional(std::move(message)) : std::nullopt;
}

std::vector<std::uint8_t> DsAttributeAnswer::encode() const {
    WireWriter writer(4 + SMALLEST_VALUE + attribute.value.size());
    writer.u32(id);
    write(writer, attribute);
    return writer.take();
}

std::optional<DsAttributeAnswer> DsAttributeAnswer::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    DsAttributeAnswer message;
    message.id = reader.u32();
    message.attribute = readValue(reader);
    return reader.done() ? std::optional(std::move(message)) : std::nullopt;
}

std::vector<std::uint8_t> DsBulkAnswer::encode() const {
    WireWriter writer(8 + attributes.size() * (SMALLEST_VALUE + 32));
    writer.u32(id).u32(static_cast<std::uint32_t>(attributes.size()));
    for (const DsValue& attribute : attributes) {
        write(writer, attribute);
    }
    return writer.take();
}

std::optional<DsBulkAnswer> DsBulkAnswer::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    DsBulkAnswer message;
    message.id = reader.u32();
    const std::size_t count = reader.u32();
    if (count > reader.remaining() / SMALLEST_VALUE) {
        return std::nullopt;
    }
    message.attributes.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        message.attributes.push_back(readValue(reader));
    }
    return reader.done() ? std::optional(std::move(message)) : std::nullopt;
}

std::vector<std::uint8_t> DsStatusAnswer::encode() const {
    return WireWriter(8).u32(id).i32(status).take();
}

std::optional<DsStatusAnswer> DsStatusAnswer::decode(std::span<const std::uint8_t> payload) {
    WireReader reader(payload);
    DsStatusAnswer message;
    message.id = reader.u32();
    message.status = reader.i32();
    return reader.done() ? std::optional(message) : std::nullopt;
}
