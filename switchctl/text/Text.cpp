#include "switchctl/text/Text.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ctime>

namespace Text {

std::optional<std::int64_t> number(std::string_view text, std::int64_t least, std::int64_t most) {
    const bool negative = !text.empty() && text.front() == '-';
    text.remove_prefix(negative ? 1 : 0);
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(hexadecimal ? 2 : 0);
    std::uint64_t magnitude = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, magnitude, hexadecimal ? 16 : 10);
    if (text.empty() || error != std::errc() || stop != end || magnitude > INT64_MAX) {
        return std::nullopt;
    }
    const auto value = static_cast<std::int64_t>(magnitude) * (negative ? -1 : 1);
    return value < least || value > most ? std::nullopt : std::optional(value);
}

std::optional<std::vector<std::uint8_t>> bytes(std::string_view hex) {
    std::vector<std::uint8_t> result;
    while (!hex.empty()) {
        if (hex.front() == ' ') {
            hex.remove_prefix(1);
            continue;
        }
        std::uint8_t byte = 0;
        if (hex.size() < 2 || std::from_chars(hex.data(), hex.data() + 2, byte, 16).ptr != hex.data() + 2) {
            return std::nullopt;
        }
        result.push_back(byte);
        hex.remove_prefix(2);
    }
    return result;
}

std::string hex(std::span<const std::uint8_t> bytes) {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string result;
    for (const std::uint8_t byte : bytes) {
        result += DIGITS[byte >> 4];
        result += DIGITS[byte & 15];
    }
    return result;
}

std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

std::string trim(std::string_view text) {
    constexpr std::string_view BLANKS = " \t\r";
    const std::size_t first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) {
        return "";
    }
    return std::string(text.substr(first, text.find_last_not_of(BLANKS) - first + 1));
}

namespace {

// U+0080 to U+009F, which terminals obey as well.
bool isLongControl(std::string_view text) {
    return text.size() >= 2 && text[0] == '\xC2' && static_cast<unsigned char>(text[1]) >= 0x80 &&
           static_cast<unsigned char>(text[1]) < 0xA0;
}

}  // namespace

bool hasControls(std::string_view text) {
    for (std::size_t place = 0; place < text.size(); ++place) {
        const auto byte = static_cast<unsigned char>(text[place]);
        if (byte < 0x20 || byte == 0x7F || isLongControl(text.substr(place))) {
            return true;
        }
    }
    return false;
}

std::string oneLine(std::string_view text) {
    std::string result;
    for (std::size_t place = 0; place < text.size(); ++place) {
        const char c = text[place];
        const auto byte = static_cast<unsigned char>(c);
        if (isLongControl(text.substr(place))) {
            const auto second = static_cast<unsigned char>(text[++place]);
            result += "\\x" + hex(std::span(&byte, 1)) + "\\x" + hex(std::span(&second, 1));
        } else if (c == '\n') {
            result += "\\n";
        } else if (c == '\t') {
            result += "\\t";
        } else if (byte < 0x20 || byte == 0x7F) {
            result += "\\x" + hex(std::span(&byte, 1));
        } else {
            result += c;
        }
    }
    return result;
}

std::string seconds(std::int64_t milliseconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(milliseconds) / 1000);
    return text;
}

std::string timestamp(std::int64_t seconds, std::int32_t microseconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm local{};
    if (localtime_r(&time, &local) == nullptr) {
        return "?";
    }
    char date[40];
    char zone[16];
    char text[80];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
    std::strftime(zone, sizeof zone, "%z", &local);
    std::snprintf(text, sizeof text, "%s.%06d%s", date, int{microseconds}, zone);
    return text;
}

std::string folded(std::string_view text, std::size_t width, const std::string& indent) {
    const std::size_t room = width - indent.size();
    std::string result;
    while (text.size() > room) {
        std::size_t end = text.rfind(' ', room);
        end = end == std::string_view::npos || end == 0 ? text.find(' ', room) : end;
        if (end == std::string_view::npos) {
            break;
        }
        result += indent + std::string(text.substr(0, end)) + "\n";
        text.remove_prefix(end + 1);
    }
    return result + indent + std::string(text) + "\n";
}

std::string table(const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    std::string result;
    for (const auto& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            const bool last = column + 1 == row.size();
            result += row[column] + (last ? "\n" : std::string(widths[column] - row[column].size() + 2, ' '));
        }
    }
    return result;
}

}  // namespace Text
