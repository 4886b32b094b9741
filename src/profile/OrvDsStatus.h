// What the status words of the attribute store's bulk answers mean. Any thread, but for the report.
//
// The readers of this daemon do not agree on what a good status is, and rely on it: each names its rule.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// The status of the entry at a position; a bad one by every rule when the answer has too few of them.
inline std::int32_t orvStatusAt(std::span<const std::int32_t> statuses, std::size_t position) {
    return position < statuses.size() ? statuses[position] : -1;
}

// Good is 0, and whatever has 52 in its low half.
inline bool orvIsGoodStatus(std::int32_t status) {
    return status == 0 || (static_cast<std::uint32_t>(status) & 0xFFFFu) == 0x34u;
}

// Good is whatever is not negative.
inline bool orvIsNotNegativeStatus(std::int32_t status) {
    return status >= 0;
}

// Traces under the caller's name, and logs, that the entry at a position has a bad status. Main thread.
void orvReportBadStatus(const char* module, const char* function, std::size_t position, std::int32_t status);
