#include "platform/wire/Wire.h"

#include "word_order.h"

namespace {

std::string_view asText(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

WireWriter& WireWriter::u16(std::uint16_t value) {
    appendBigEndian16(bytes_, value);
    return *this;
}

WireWriter& WireWriter::u32(std::uint32_t value) {
    appendBigEndian32(bytes_, value);
    return *this;
}

WireWriter& WireWriter::bytes(std::span<const std::uint8_t> value) {
    bytes_.insert(bytes_.end(), value.begin(), value.end());
    return *this;
}

WireWriter& WireWriter::zeros(std::size_t count) {
    bytes_.resize(bytes_.size() + count);
    return *this;
}

WireWriter& WireWriter::fixedText(std::string_view text, std::size_t size) {
    const std::string_view kept = text.substr(0, size);
    bytes_.insert(bytes_.end(), kept.begin(), kept.end());
    return zeros(size - kept.size());
}

WireWriter& WireWriter::terminatedText(std::string_view text, std::size_t size) {
    return fixedText(text.substr(0, size - 1), size);
}

WireWriter& WireWriter::text16(std::string_view text) {
    const std::string_view kept = text.substr(0, 0xFFFF);
    u16(static_cast<std::uint16_t>(kept.size()));
    bytes_.insert(bytes_.end(), kept.begin(), kept.end());
    return *this;
}

WireWriter& WireWriter::text32(std::string_view text) {
    u32(static_cast<std::uint32_t>(text.size()));
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    return *this;
}

std::uint16_t WireReader::u16() {
    const auto word = bytes(2);
    return ok_ ? bigEndian16(word) : std::uint16_t{0};
}

std::uint32_t WireReader::u32() {
    const auto word = bytes(4);
    return ok_ ? bigEndian32(word) : 0u;
}

Hsb_Address WireReader::address() {
    Hsb_Address value;
    value.node = u32();
    value.process = u32();
    value.slot = u16();
    return value;
}

// After the first thing missing nothing more is given out, or later fields would be read from the wrong place.
std::span<const std::uint8_t> WireReader::bytes(std::size_t count) {
    if (!ok_ || count > rest_.size()) {
        ok_ = false;
        return {};
    }
    const auto taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
}

std::string WireReader::fixedText(std::size_t size) {
    const std::string_view slot = asText(bytes(size));
    return std::string(slot.substr(0, slot.find('\0')));
}

std::string WireReader::text(std::size_t length) {
    return std::string(asText(bytes(length)));
}
