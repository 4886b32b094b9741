// Texts to values and back, as the command line has them. Nothing here knows a command.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Text {

// A whole decimal number or, after 0x, a hexadecimal one, with an optional minus. Nothing when it is none or does not
// lie between least and most.
std::optional<std::int64_t> number(std::string_view text, std::int64_t least, std::int64_t most);

// Pairs of hexadecimal digits, blanks between pairs allowed.
std::optional<std::vector<std::uint8_t>> bytes(std::string_view hex);
std::string hex(std::span<const std::uint8_t> bytes);

std::vector<std::string> split(std::string_view text, char separator);
std::string trim(std::string_view text);

// Any byte below 0x20, 0x7F, and U+0080 to U+009F in UTF-8.
bool hasControls(std::string_view text);
// The text on one line of a terminal: control characters as \n, \t or \x1b.
std::string oneLine(std::string_view text);

// Seconds as a person writes them: "10", "0.5".
std::string seconds(std::int64_t milliseconds);
// Local time, one word: 2026-11-20T23:59:59.123456+0000
std::string timestamp(std::int64_t seconds, std::int32_t microseconds);

// Lines of at most width bytes where the text has blanks to break it at, each behind the indent.
std::string folded(std::string_view text, std::size_t width, const std::string& indent);

// Rows with their columns aligned, two blanks between them, a line each.
std::string table(const std::vector<std::vector<std::string>>& rows);

}  // namespace Text
