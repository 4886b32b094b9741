#include "smtp/OrvMailBuffer.h"

#include "dbg/OrvDbg.h"

#include <new>

namespace {

constexpr char kTraceModule[] = "OrvMailBuffer";
constexpr std::string_view kLineEnd = kOrvLineEnd;
// Around each line in its trace.
constexpr std::string_view kAdding = "Adding to buffer: ";
constexpr std::string_view kAdded = " CRLF\n";

}  // namespace

void OrvMailBuffer::reserve(std::uint64_t bytes) {
    if (bytes > text_.max_size()) {
        return;
    }
    try {
        text_.reserve(static_cast<std::size_t>(bytes));
    } catch (const std::bad_alloc&) {
        ORV_TRACE("no room yet for %llu bytes\n", static_cast<unsigned long long>(bytes));
    }
}

void OrvMailBuffer::addLabelData(OrvMailLabel label, std::string_view value, Empty empty) {
    if (text_.size() >= limit_ || (empty == Empty::kSkip && value.empty())) {
        return;
    }
    if (!fits(label.text, value)) {
        text_.resize(limit_, ' ');
        return;
    }
    const std::size_t length = label.text.size() + value.size();
    if (untracedCount_ == untraced_.size()) {
        traceLines();
    }
    if (text_.capacity() - text_.size() < length + kLineEnd.size()) {
        // There may be no memory for it: traced before, and behind those that are there.
        traceLines();
        orvTraceParts(kTraceModule, __func__, {kAdding, label.text, value, kAdded});
    } else {
        untraced_[untracedCount_++] = {static_cast<std::uint32_t>(text_.size()), static_cast<std::uint32_t>(length)};
    }
    text_.append(label.text).append(value).append(kLineEnd);
}

void OrvMailBuffer::traceLines() {
    std::array<std::string_view, std::tuple_size_v<decltype(untraced_)>> lines;
    for (std::size_t at = 0; at < untracedCount_; ++at) {
        lines[at] = std::string_view(text_).substr(untraced_[at].start, untraced_[at].length);
    }
    orvTraceLines(kTraceModule, "addLabelData", kAdding, {lines.data(), untracedCount_}, kAdded);
    untracedCount_ = 0;
}

// Kept: a line that would end exactly at the limit does not fit.
bool OrvMailBuffer::fits(std::string_view label, std::string_view value) const {
    const std::uint64_t length = std::uint64_t{text_.size()} + label.size() + value.size() + kLineEnd.size();
    return length < limit_;
}
