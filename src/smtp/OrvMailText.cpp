#include "smtp/OrvMailText.h"

#include <algorithm>
#include <cstdint>

namespace {

constexpr std::size_t kLongestLine = 998;
constexpr std::string_view kLineEnds = "\r\n";

bool isControl(char byte) {
    return static_cast<unsigned char>(byte) < ' ' || byte == '\x7F';
}

bool isAscii(char byte) {
    return static_cast<signed char>(byte) >= 0;
}

// Within a character of UTF-8.
bool continues(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// So many bytes of a line that is too long make a line of their own: up to a blank, or to the end of a character.
std::size_t breakAt(std::string_view line, std::size_t most) {
    if (const std::size_t blank = line.substr(0, most + 1).rfind(' '); blank != line.npos && blank != 0) {
        return blank;
    }
    std::size_t at = most;
    while (at > most - 4 && continues(line[at])) {
        --at;
    }
    return continues(line[at]) ? most : at;
}

void appendLine(std::string& lines, std::string_view line) {
    while (line.size() > kLongestLine) {
        const std::size_t end = breakAt(line, kLongestLine);
        lines.append(line.substr(0, end)).append(kLineEnds);
        line.remove_prefix(line[end] == ' ' ? end + 1 : end);
    }
    lines.append(line).append(kLineEnds);
}

bool areLines(std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        if (end == text.npos || end == 0 || end > kLongestLine + 1 || text.substr(0, end).find('\r') != end - 1 ||
            text.substr(0, end).find('\0') != text.npos) {
            return false;
        }
        text.remove_prefix(end + 1);
    }
    return true;
}

void appendHex(std::string& text, char byte) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    const auto bits = static_cast<unsigned char>(byte);
    text += '=';
    text += kDigits[bits >> 4];
    text += kDigits[bits & 15];
}

// Length of the UTF-8 character at the beginning; 0 when there is none. RFC 3629, section 4.
std::size_t utf8Length(std::string_view text) {
    const auto at = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = at(0);
    const std::size_t length = first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (length == 0 || first > 0xF4 || length > text.size()) {
        return 0;
    }
    if (length > 1 && !std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length), continues)) {
        return 0;
    }
    const bool tooLong = (first == 0xE0 && at(1) < 0xA0) || (first == 0xF0 && at(1) < 0x90);
    const bool noCharacter = (first == 0xED && at(1) > 0x9F) || (first == 0xF4 && at(1) > 0x8F);
    return tooLong || noCharacter ? 0 : length;
}

// Words of at most 75 characters, no character parted.
void addEncodedWords(std::string& text, std::string_view value, OrvCharset charset) {
    constexpr std::size_t kWord = 60;
    const auto open = [&] { text.append("=?").append(orvCharsetName(charset)).append("?Q?"); };
    open();
    std::size_t begun = text.size();
    while (!value.empty()) {
        const std::size_t length = charset == OrvCharset::kUtf8 ? utf8Length(value) : 1;
        if (text.size() - begun + 3 * length > kWord) {
            text.append("?=\r\n ");
            open();
            begun = text.size();
        }
        for (const char byte : value.substr(0, length)) {
            if (byte == ' ') {
                text += '_';
            } else if (isAscii(byte) && byte != '=' && byte != '?' && byte != '_') {
                text += byte;
            } else {
                appendHex(text, byte);
            }
        }
        value.remove_prefix(length);
    }
    text.append("?=");
}

// Broken at blanks, before it becomes too long; what follows a break begins with a blank.
void addFolded(std::string& text, std::string_view value) {
    constexpr std::size_t kLongestValue = 900;
    while (value.size() > kLongestValue) {
        const std::size_t end = breakAt(value, kLongestValue);
        text.append(value.substr(0, end)).append("\r\n ");
        value.remove_prefix(std::min(value.find_first_not_of(' ', end), value.size()));
    }
    text.append(value);
}

}  // namespace

std::string orvOneLine(std::string_view value) {
    std::string line(value);
    std::replace_if(line.begin(), line.end(), isControl, '?');
    return line;
}

void orvMakeLines(std::string& text) {
    if (areLines(text)) {
        return;
    }
    std::erase(text, '\0');
    std::string lines;
    lines.reserve(text.size() + text.size() / 64 + kLineEnds.size());
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find_first_of(kLineEnds), rest.size());
        appendLine(lines, rest.substr(0, end));
        rest.remove_prefix(end);
        rest.remove_prefix(rest.starts_with(kLineEnds) ? kLineEnds.size() : std::min<std::size_t>(rest.size(), 1));
    }
    text = std::move(lines);
}

void orvDoubleDots(std::string& text) {
    constexpr std::string_view kDotLine = "\n.";
    if (text.starts_with('.')) {
        text.insert(0, 1, '.');
    }
    std::size_t at = text.find(kDotLine);
    if (at == text.npos) {
        return;
    }
    std::string doubled;
    doubled.reserve(text.size() + text.size() / 64);
    std::size_t copied = 0;
    for (; at != text.npos; at = text.find(kDotLine, at + 1)) {
        doubled.append(text, copied, at + 1 - copied).append(1, '.');
        copied = at + 1;
    }
    doubled.append(text, copied);
    text = std::move(doubled);
}

OrvCharset orvCharsetOf(std::string_view text) {
    if (std::all_of(text.begin(), text.end(), isAscii)) {
        return OrvCharset::kAscii;
    }
    while (!text.empty()) {
        const std::size_t length = utf8Length(text);
        if (length == 0) {
            return OrvCharset::kLatin1;
        }
        text.remove_prefix(length);
    }
    return OrvCharset::kUtf8;
}

const char* orvCharsetName(OrvCharset charset) {
    return charset == OrvCharset::kAscii ? "us-ascii" : charset == OrvCharset::kUtf8 ? "utf-8" : "iso-8859-1";
}

std::string orvQuotedPrintable(std::string_view lines) {
    constexpr std::size_t kLine = 76;
    std::string encoded;
    std::size_t column = 0;
    while (!lines.empty()) {
        if (lines.starts_with(kLineEnds)) {
            encoded.append(kLineEnds);
            lines.remove_prefix(kLineEnds.size());
            column = 0;
            continue;
        }
        const char byte = lines.front();
        lines.remove_prefix(1);
        const bool blank = byte == ' ' || byte == '\t';
        const bool plain = blank ? !lines.starts_with(kLineEnds) : byte != '=' && isAscii(byte) && !isControl(byte);
        const std::size_t width = plain ? 1 : 3;
        if (column + width >= kLine) {
            encoded.append("=\r\n");
            column = 0;
        }
        if (plain) {
            encoded += byte;
        } else {
            appendHex(encoded, byte);
        }
        column += width;
    }
    return encoded;
}

void orvAddHeader(std::string& text, std::string_view name, std::string_view value) {
    const std::string line = orvOneLine(value);
    const OrvCharset charset = orvCharsetOf(line);
    text.append(name);
    if (charset == OrvCharset::kAscii) {
        addFolded(text, line);
    } else {
        addEncodedWords(text, line, charset);
    }
    text.append(kLineEnds);
}
