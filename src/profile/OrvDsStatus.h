// What the status words of the attribute store's bulk answers mean. Any thread, but for taking an answer.
//
// The readers of this daemon do not agree on what a good status is, and rely on it: each names its rule.
#pragma once

#include "dsClient.h"

#include <cstddef>
#include <cstdint>
#include <functional>
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

// Takes an answer in, entry by entry: traces it on behalf of the module, reports one whose status is not good, and
// hands the others on. A key that take() does not know is logged as if on that line. Minus the number of these. Main
// thread.
int orvTakeAnswer(const char* module, int line, std::span<const DsEntry> entries,
                  std::span<const std::int32_t> statuses, const std::function<bool(const DsEntry&)>& take);
