#include "box/search/Attachments.h"

#include <array>
#include <cstdint>
#include <optional>

namespace box {

namespace {

constexpr std::string_view kBoundary = "boundary=\"";
constexpr std::string_view kEncoding = "Content-Transfer-Encoding: BASE64";

std::string_view boundaryOf(std::string_view mail) {
    const std::size_t found = mail.find(kBoundary);
    if (found == std::string_view::npos) {
        return {};
    }
    mail.remove_prefix(found + kBoundary.size());
    return mail.substr(0, mail.find('"'));
}

// None when it is no Base64 that ends with its padding.
std::optional<std::string> decoded(std::string_view text) {
    constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    std::uint32_t bits = 0;
    unsigned count = 0;
    unsigned padding = 0;
    for (const char letter : text) {
        if (letter == '\r' || letter == '\n') {
            continue;
        }
        const std::size_t value = letter == '=' ? 0 : kLetters.find(letter);
        padding += letter == '=' ? 1 : 0;
        if (value == std::string_view::npos || (padding > 0 && letter != '=')) {
            return std::nullopt;
        }
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        if (++count % 4 == 0) {
            for (const unsigned shift : {16u, 8u, 0u}) {
                bytes += static_cast<char>(bits >> shift & 0xFF);
            }
            bits = 0;
        }
    }
    if (count % 4 != 0 || padding > 2) {
        return std::nullopt;
    }
    bytes.resize(bytes.size() - padding);
    return bytes;
}

// Bytes as they are, in one block, and at the end how many there were.
bool isCompressed(const std::string& bytes) {
    constexpr std::size_t kAround = 10 + 5 + 4 + 4;
    if (bytes.size() < kAround || !bytes.starts_with("\x1f\x8b\x08")) {
        return false;
    }
    std::size_t told = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        told |= std::size_t{static_cast<std::uint8_t>(bytes[bytes.size() - 4 + i])} << (8 * i);
    }
    return told == bytes.size() - kAround;
}

std::string partProblem(std::string_view part) {
    if (part.find(kEncoding) == std::string_view::npos) {
        return "";
    }
    const std::size_t head = part.find("\r\n\r\n");
    if (head == std::string_view::npos) {
        return "an attachment without a body";
    }
    const std::optional<std::string> bytes = decoded(part.substr(head));
    return bytes && isCompressed(*bytes) ? "" : "an attachment is not whole";
}

}  // namespace

bool hasAttachments(std::string_view mail) {
    return !boundaryOf(mail).empty();
}

std::string attachmentsProblem(std::string_view mail) {
    if (!hasAttachments(mail)) {
        return "";
    }
    const std::string line = "--" + std::string(boundaryOf(mail));
    const std::string last = line + "--";
    // Its line end may be the one before the dot that ends the text.
    const std::size_t end = mail.ends_with(last) ? mail.size() - last.size() : mail.find(last + "\r\n");
    if (end == std::string_view::npos) {
        return "the boundary that closes the mail is missing";
    }
    for (std::size_t at = mail.find(line + "\r\n"); at < end;) {
        const std::size_t next = mail.find(line, at + line.size());
        std::string problem = partProblem(mail.substr(at, next - at));
        if (!problem.empty()) {
            return problem;
        }
        at = next;
    }
    return "";
}

}  // namespace box
