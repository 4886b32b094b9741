// How values stand in a message: big-endian integers, fixed text slots, length-prefixed texts.
//
// No message is ever laid over a struct. A reader never looks past the end of its bytes: what is missing reads as 0
// or empty, and ok() turns false for good.
#pragma once

#include "Hsb_Address.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class WireWriter {
public:
    explicit WireWriter(std::size_t expectedSize = 64) { bytes_.reserve(expectedSize); }

    WireWriter& u16(std::uint16_t value);
    WireWriter& u32(std::uint32_t value);
    WireWriter& i16(std::int16_t value) { return u16(static_cast<std::uint16_t>(value)); }
    WireWriter& i32(std::int32_t value) { return u32(static_cast<std::uint32_t>(value)); }
    WireWriter& address(const Hsb_Address& value) { return u32(value.node).u32(value.process).u16(value.slot); }
    WireWriter& bytes(std::span<const std::uint8_t> value);
    WireWriter& zeros(std::size_t count);
    // Exactly size bytes, padded with NUL; a longer text is cut.
    WireWriter& fixedText(std::string_view text, std::size_t size);
    // As fixedText, and the last byte is always NUL.
    WireWriter& terminatedText(std::string_view text, std::size_t size);
    // A u16 length and the text, which is cut at 65535 bytes.
    WireWriter& text16(std::string_view text);
    // A u32 length and the text.
    WireWriter& text32(std::string_view text);

    std::vector<std::uint8_t> take() { return std::move(bytes_); }

private:
    std::vector<std::uint8_t> bytes_;
};

// The bytes must outlive the reader and the spans it gives out.
class WireReader {
public:
    explicit WireReader(std::span<const std::uint8_t> data) : rest_(data) {}

    std::uint16_t u16();
    std::uint32_t u32();
    std::int16_t i16() { return static_cast<std::int16_t>(u16()); }
    std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
    Hsb_Address address();
    std::span<const std::uint8_t> bytes(std::size_t count);
    // The text of a slot of size bytes: up to its first NUL, or all of it.
    std::string fixedText(std::size_t size);
    std::string text16() { return text(u16()); }
    std::string text32() { return text(u32()); }
    // Everything that is left.
    std::span<const std::uint8_t> rest() { return bytes(rest_.size()); }

    std::size_t remaining() const { return rest_.size(); }
    // Nothing was missing so far.
    bool ok() const { return ok_; }
    // Nothing was missing and nothing is left.
    bool done() const { return ok_ && rest_.empty(); }

private:
    std::string text(std::size_t length);

    std::span<const std::uint8_t> rest_;
    bool ok_ = true;
};
