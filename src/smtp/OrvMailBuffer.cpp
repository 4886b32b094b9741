#include "smtp/OrvMailBuffer.h"

#include "dbg/OrvDbg.h"

namespace {

constexpr char kTraceModule[] = "OrvMailBuffer";
constexpr std::string_view kLineEnd = "\r\n";

}  // namespace

void OrvMailBuffer::addLabelData(OrvMailLabel label, std::string_view value, Empty empty) {
    const std::string_view labelText = orvMailLabelText(label);
    if (text_.size() >= limit_ || (empty == Empty::kSkip && value.empty())) {
        return;
    }
    if (!fits(labelText, value)) {
        text_.resize(limit_, ' ');
        return;
    }
    ORV_TRACE("Adding to buffer: %.*s%.*s CRLF\n", static_cast<int>(labelText.size()), labelText.data(),
              static_cast<int>(value.size()), value.data());
    text_.append(labelText).append(value).append(kLineEnd);
}

// Kept: a line that would end exactly at the limit does not fit.
bool OrvMailBuffer::fits(std::string_view label, std::string_view value) const {
    const std::uint64_t length = std::uint64_t{text_.size()} + label.size() + value.size() + kLineEnd.size();
    return length < limit_;
}
