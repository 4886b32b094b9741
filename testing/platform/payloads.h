// Test support: what every message's decode owes its users.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <span>
#include <vector>

// A payload cut at any length, and one with a byte more, is refused.
template <typename Message>
void expectOnlyTheWholePayloadIsRead(const std::vector<std::uint8_t>& payload) {
    for (std::size_t length = 0; length < payload.size(); ++length) {
        // A copy of its own, so that a sanitizer sees a read beyond it.
        const std::vector<std::uint8_t> cut(payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(Message::decode(cut)) << "read " << length << " of " << payload.size() << " bytes";
    }
    std::vector<std::uint8_t> longer = payload;
    longer.push_back(0);
    EXPECT_FALSE(Message::decode(longer)) << "read a payload with a byte too many";
}
