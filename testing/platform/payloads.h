// Test support: what reading a message owes its users.
#pragma once

#include "platform/wire/Fields.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <span>
#include <vector>

// A payload cut at any length, and one with a byte more, is refused. A message is read by its fields, or has a way of
// its own.
template <typename Message>
void expectOnlyTheWholePayloadIsRead(const std::vector<std::uint8_t>& payload) {
    const auto isRead = [](std::span<const std::uint8_t> bytes) {
        if constexpr (requires { Message::decode(bytes); }) {
            return Message::decode(bytes).has_value();
        } else {
            return decodeFields<Message>(bytes).has_value();
        }
    };
    for (std::size_t length = 0; length < payload.size(); ++length) {
        // A copy of its own, so that a sanitizer sees a read beyond it.
        const std::vector<std::uint8_t> cut(payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(isRead(cut)) << "read " << length << " of " << payload.size() << " bytes";
    }
    std::vector<std::uint8_t> longer = payload;
    longer.push_back(0);
    EXPECT_FALSE(isRead(longer)) << "read a payload with a byte too many";
}
