#include "base/OrvText.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// strerror_r comes in two kinds: one returns the text, the other fills the buffer and returns a status.
[[maybe_unused]] std::string errorText(const char* text, const char* /*buffer*/) {
    return text;
}

[[maybe_unused]] std::string errorText(int /*status*/, const char* buffer) {
    return buffer;
}

}  // namespace

std::string orvFormat(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = orvFormatV(format, arguments);
    va_end(arguments);
    return text;
}

std::string orvFormatV(const char* format, std::va_list arguments) {
    char buffer[256];
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
    std::string text;
    if (length > 0 && static_cast<std::size_t>(length) < sizeof buffer) {
        text.assign(buffer, static_cast<std::size_t>(length));
    } else if (length > 0) {
        text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}

std::string orvTextUpToNul(std::span<const std::uint8_t> field) {
    return std::string(field.begin(), std::find(field.begin(), field.end(), 0));
}

std::string orvErrorText(int error) {
    char buffer[256] = "";
    return errorText(strerror_r(error, buffer, sizeof buffer), buffer);
}
