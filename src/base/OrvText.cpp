#include "base/OrvText.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

// The text as far as it is filled in. What finds no room ends it.
class Filler {
public:
    // Keeps a place for the NUL.
    Filler(char* buffer, std::size_t size) : start_(buffer), at_(buffer), room_(size == 0 ? 0 : size - 1) {}

    bool add(std::string_view text) {
        if (text.size() > room_) {
            return false;
        }
        std::memcpy(at_, text.data(), text.size());
        at_ += text.size();
        room_ -= text.size();
        return true;
    }

    bool addNumber(unsigned magnitude, bool negative, std::size_t width) {
        char digits[12];
        char* const end = digits + sizeof digits;
        char* first = end;
        do {
            *--first = static_cast<char>('0' + magnitude % 10);
            magnitude /= 10;
        } while (magnitude != 0);
        if (negative) {
            *--first = '-';
        }
        const auto length = static_cast<std::size_t>(end - first);
        return addBlanks(width > length ? width - length : 0) && add({first, length});
    }

    int end() {
        *at_ = '\0';
        return static_cast<int>(at_ - start_);
    }

private:
    bool addBlanks(std::size_t count) {
        if (count > room_) {
            return false;
        }
        std::memset(at_, ' ', count);
        at_ += count;
        room_ -= count;
        return true;
    }

    char* const start_;
    char* at_;
    std::size_t room_;
};

// Of at most two digits; leaves the format behind it. One that begins with 0 is a flag and stays where it is.
std::size_t takeWidth(const char*& format) {
    std::size_t width = 0;
    for (int digits = 0; digits < 2 && *format >= (digits == 0 ? '1' : '0') && *format <= '9'; ++digits) {
        width = width * 10 + static_cast<std::size_t>(*format++ - '0');
    }
    return width;
}

// False when it takes more than this.
__attribute__((format(printf, 2, 0))) bool fill(Filler& line, const char* format, std::va_list arguments) {
    while (*format != '\0') {
        const char* const next = std::strchr(format, '%');
        const std::size_t plain = next == nullptr ? std::strlen(format) : static_cast<std::size_t>(next - format);
        if (!line.add({format, plain})) {
            return false;
        }
        format += plain;
        if (*format == '\0') {
            return true;
        }
        const std::size_t width = takeWidth(++format);
        bool filled = false;
        if (*format == 's' && width == 0) {
            const char* const text = va_arg(arguments, const char*);
            filled = text != nullptr && line.add(text);
        } else if (*format == 'u') {
            filled = line.addNumber(va_arg(arguments, unsigned), false, width);
        } else if (*format == 'd') {
            const int number = va_arg(arguments, int);
            const auto magnitude = static_cast<unsigned>(number);
            filled = line.addNumber(number < 0 ? 0 - magnitude : magnitude, number < 0, width);
        }
        if (!filled) {
            return false;
        }
        ++format;
    }
    return true;
}

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

int orvFillLine(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    Filler line(buffer, size);
    const int length =
        size > 0 && fill(line, format, arguments) ? line.end() : std::vsnprintf(buffer, size, format, again);
    va_end(again);
    return length;
}

std::string orvTextUpToNul(std::span<const std::uint8_t> field) {
    return std::string(field.begin(), std::find(field.begin(), field.end(), 0));
}

std::string orvErrorText(int error) {
    char buffer[256] = "";
    return errorText(strerror_r(error, buffer, sizeof buffer), buffer);
}
