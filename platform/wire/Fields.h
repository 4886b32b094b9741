// One description of a message's fields serves both ways: FieldWriter and FieldReader are handed to the same function.
//
// A message is a plain struct with
//     static void fields(auto& io, auto& message) { io(message.id, message.status); io.text16(message.name); }
// which names its fields in the order in which they travel. io writes them or reads them; encodeFields() and
// decodeFields() are the two directions. Numbers go as they are wide, big-endian; enums as their underlying type.
#pragma once

#include "platform/wire/Wire.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

// A bool has no width of its own and goes as a flag.
template <typename T>
concept WireNumber = (std::is_integral_v<T> && !std::is_same_v<T, bool>) || std::is_enum_v<T>;

class FieldWriter {
public:
    template <WireNumber... Numbers>
    void operator()(const Numbers&... values) {
        (number(values), ...);
    }
    void operator()(const Hsb_Address& address) { out_.address(address); }
    void flag8(bool value) { number<std::uint8_t>(value ? 1 : 0); }
    void flag16(bool value) { out_.u16(value ? 1 : 0); }
    void flag32(bool value) { out_.u32(value ? 1 : 0); }
    void text16(std::string_view text) { out_.text16(text); }
    void text32(std::string_view text) { out_.text32(text); }
    void slot(std::string_view text, std::size_t size) { out_.fixedText(text, size); }
    void terminatedSlot(std::string_view text, std::size_t size) { out_.terminatedText(text, size); }
    void padding(std::size_t count) { out_.zeros(count); }
    void rest(std::span<const std::uint8_t> bytes) { out_.bytes(bytes); }
    template <std::size_t Size>
    void bytes(const std::array<std::uint8_t, Size>& value) {
        out_.bytes(value);
    }
    // A u32 count and the items, each by its own description; no more than most are read.
    template <typename Items, typename Describe>
    void list(const Items& items, Describe describe, std::uint32_t /*most*/ = UINT32_MAX) {
        out_.u32(static_cast<std::uint32_t>(items.size()));
        for (const auto& item : items) {
            describe(*this, item);
        }
    }

    std::vector<std::uint8_t> take() { return out_.take(); }

private:
    template <typename Number>
    void number(Number value) {
        if constexpr (sizeof(Number) == 8) {
            out_.u32(static_cast<std::uint32_t>(static_cast<std::uint64_t>(value) >> 32));
            out_.u32(static_cast<std::uint32_t>(value));
        } else if constexpr (sizeof(Number) == 4) {
            out_.u32(static_cast<std::uint32_t>(value));
        } else if constexpr (sizeof(Number) == 2) {
            out_.u16(static_cast<std::uint16_t>(value));
        } else {
            static_assert(sizeof(Number) == 1);
            const std::uint8_t byte = static_cast<std::uint8_t>(value);
            out_.bytes({&byte, 1});
        }
    }

    WireWriter out_;
};

class FieldReader {
public:
    explicit FieldReader(std::span<const std::uint8_t> data) : in_(data) {}

    template <WireNumber... Numbers>
    void operator()(Numbers&... values) {
        (number(values), ...);
    }
    void operator()(Hsb_Address& address) { address = in_.address(); }
    void flag8(bool& value) {
        std::uint8_t byte = 0;
        number(byte);
        value = byte != 0;
    }
    void flag16(bool& value) { value = in_.u16() != 0; }
    void flag32(bool& value) { value = in_.u32() != 0; }
    void text16(std::string& text) { text = in_.text16(); }
    void text32(std::string& text) { text = in_.text32(); }
    void slot(std::string& text, std::size_t size) { text = in_.fixedText(size); }
    void terminatedSlot(std::string& text, std::size_t size) { slot(text, size); }
    void padding(std::size_t count) { in_.bytes(count); }
    void rest(std::span<const std::uint8_t>& bytes) { bytes = in_.rest(); }
    template <std::size_t Size>
    void bytes(std::array<std::uint8_t, Size>& value) {
        const auto taken = in_.bytes(Size);
        std::copy(taken.begin(), taken.end(), value.begin());
    }
    // Stops at the first item that is missing, so that a count made up of thin air costs nothing.
    template <typename Items, typename Describe>
    void list(Items& items, Describe describe, std::uint32_t most = UINT32_MAX) {
        const std::uint32_t count = in_.u32();
        refused_ = refused_ || count > most;
        for (std::uint32_t left = count; left > 0 && ok(); --left) {
            describe(*this, items.emplace_back());
        }
    }

    bool ok() const { return !refused_ && in_.ok(); }
    bool done() const { return !refused_ && in_.done(); }

private:
    template <typename Number>
    void number(Number& value) {
        if constexpr (sizeof(Number) == 8) {
            const std::uint64_t high = in_.u32();
            value = static_cast<Number>(high << 32 | in_.u32());
        } else if constexpr (sizeof(Number) == 4) {
            value = static_cast<Number>(in_.u32());
        } else if constexpr (sizeof(Number) == 2) {
            value = static_cast<Number>(in_.u16());
        } else {
            static_assert(sizeof(Number) == 1);
            const auto taken = in_.bytes(1);
            value = static_cast<Number>(taken.empty() ? 0 : taken[0]);
        }
    }

    WireReader in_;
    bool refused_ = false;
};

// The two directions of a struct whose description is given beside it.
template <typename Message, typename Describe>
std::vector<std::uint8_t> encodeFields(const Message& message, Describe describe) {
    FieldWriter writer;
    describe(writer, message);
    return writer.take();
}

// Nothing when a field is missing, something is left over, or a limit is passed.
template <typename Message, typename Describe>
std::optional<Message> decodeFields(std::span<const std::uint8_t> payload, Describe describe) {
    FieldReader reader(payload);
    std::optional<Message> message(std::in_place);
    describe(reader, *message);
    if (!reader.done()) {
        message.reset();
    }
    return message;
}

// The description that a message brings along, as one that is handed on.
template <typename Message>
inline constexpr auto FIELDS_OF = [](auto& io, auto& message) { Message::fields(io, message); };
inline constexpr auto TEXT32_FIELD = [](auto& io, auto& text) { io.text32(text); };

template <typename Message>
std::vector<std::uint8_t> encodeFields(const Message& message) {
    return encodeFields(message, FIELDS_OF<Message>);
}

// A message that brings holds() along is none unless it does.
template <typename Message>
std::optional<Message> decodeFields(std::span<const std::uint8_t> payload) {
    std::optional<Message> message = decodeFields<Message>(payload, FIELDS_OF<Message>);
    if constexpr (requires { message->holds(); }) {
        return message && message->holds() ? std::move(message) : std::nullopt;
    } else {
        return message;
    }
}
