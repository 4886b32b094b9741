#include "smtp/OrvMailBuffer.h"

#include "dbg/OrvDbg.h"

#include <new>

namespace {

constexpr char kTraceModule[] = "OrvMailBuffer";
constexpr std::string_view kLineEnd = kOrvLineEnd;

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
    orvTraceParts(kTraceModule, __func__, {"Adding to buffer: ", label.text, value, " CRLF\n"});
    text_.append(label.text).append(value).append(kLineEnd);
}

// Kept: a line that would end exactly at the limit does not fit.
bool OrvMailBuffer::fits(std::string_view label, std::string_view value) const {
    const std::uint64_t length = std::uint64_t{text_.size()} + label.size() + value.size() + kLineEnd.size();
    return length < limit_;
}
