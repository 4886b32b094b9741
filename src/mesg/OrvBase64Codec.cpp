#include "mesg/OrvBase64Codec.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The two characters of each twelve bits: half as many look-ups and stores as character by character.
using PairTable = std::array<std::array<char, 2>, 4096>;

constexpr PairTable makePairs() {
    PairTable pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        pairs[i] = {kAlphabet[i >> 6], kAlphabet[i & 63]};
    }
    return pairs;
}

constexpr std::uint8_t kNoDigit = 64;

constexpr std::array<std::uint8_t, 256> makeDigits() {
    std::array<std::uint8_t, 256> digits{};
    digits.fill(kNoDigit);
    for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
        digits[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return digits;
}

constexpr PairTable kPairs = makePairs();
constexpr std::array<std::uint8_t, 256> kDigits = makeDigits();

inline void encodeGroup(const unsigned char* bytes, unsigned char* text) {
    const unsigned word = unsigned{bytes[0]} << 16 | unsigned{bytes[1]} << 8 | bytes[2];
    std::memcpy(text, kPairs[word >> 12].data(), 2);
    std::memcpy(text + 2, kPairs[word & 0xFFF].data(), 2);
}

// Eight bytes as one number, the first in its upper bits; compilers make one load of it.
inline std::uint64_t load(const unsigned char* bytes) {
    const auto at = [bytes](int i) { return std::uint64_t{bytes[i]} << (56 - 8 * i); };
    return at(0) | at(1) | at(2) | at(3) | at(4) | at(5) | at(6) | at(7);
}

inline void encodeTwoGroups(const unsigned char* bytes, unsigned char* text) {
    const std::uint64_t word = load(bytes);
    const auto pair = [word](int shift) { return kPairs[static_cast<std::size_t>(word >> shift & 0xFFF)].data(); };
    std::memcpy(text, pair(52), 2);
    std::memcpy(text + 2, pair(40), 2);
    std::memcpy(text + 4, pair(28), 2);
    std::memcpy(text + 6, pair(16), 2);
}

// Two groups at a time as long as eight bytes can be loaded for their six.
void encodeGroups(const unsigned char* bytes, std::size_t groups, const unsigned char* end, unsigned char* text) {
    for (; groups >= 2 && end - bytes >= 8; groups -= 2) {
        encodeTwoGroups(bytes, text);
        bytes += 6;
        text += 8;
    }
    for (; groups > 0; --groups) {
        encodeGroup(bytes, text);
        bytes += 3;
        text += 4;
    }
}

// One or two bytes, zero-filled; the characters that carry none of them are "=".
void encodeShortGroup(const unsigned char* bytes, std::size_t count, unsigned char* text) {
    const unsigned char group[3] = {bytes[0], count > 1 ? bytes[1] : static_cast<unsigned char>(0), 0};
    encodeGroup(group, text);
    std::fill(text + count + 1, text + 4, static_cast<unsigned char>('='));
}

unsigned char* endLine(unsigned char* text) {
    *text++ = '\r';
    *text++ = '\n';
    return text;
}

}  // namespace

OrvBase64Encoder::OrvBase64Encoder(int lineSize)
    : groupsPerLine_(lineSize < 4 ? 1 : static_cast<std::size_t>(lineSize / 4)) {
}

std::size_t OrvBase64Encoder::convert(const unsigned char* bytes, std::size_t count, unsigned char* text) {
    const unsigned char* const end = bytes + count;
    unsigned char* out = text;
    std::size_t whole = count / 3;
    while (whole > 0) {
        const std::size_t groups = std::min(whole, groupsPerLine_ - groupsInLine_);
        encodeGroups(bytes, groups, end, out);
        bytes += 3 * groups;
        out += 4 * groups;
        whole -= groups;
        groupsInLine_ += groups;
        out = endFullLine(out);
    }
    if (count % 3 != 0) {
        encodeShortGroup(bytes, count % 3, out);
        out += 4;
        ++groupsInLine_;
        out = endFullLine(out);
    }
    return static_cast<std::size_t>(out - text);
}

unsigned char* OrvBase64Encoder::endFullLine(unsigned char* text) {
    if (groupsInLine_ < groupsPerLine_) {
        return text;
    }
    groupsInLine_ = 0;
    return endLine(text);
}

std::size_t OrvBase64Encoder::finish(unsigned char* text) {
    if (groupsInLine_ == 0) {
        return 0;
    }
    groupsInLine_ = 0;
    return static_cast<std::size_t>(endLine(text) - text);
}

std::size_t OrvBase64Decoder::convert(const unsigned char* text, std::size_t count, unsigned char* bytes) {
    unsigned char* out = bytes;
    for (const unsigned char* end = text + count; text != end; ++text) {
        const unsigned digit = kDigits[*text];
        if (digit == kNoDigit) {
            continue;
        }
        group_ = group_ << 6 | digit;
        if (++characters_ == 4) {
            out += finish(out);
        }
    }
    return static_cast<std::size_t>(out - bytes);
}

std::size_t OrvBase64Decoder::finish(unsigned char* bytes) {
    if (characters_ == 0) {
        return 0;
    }
    const std::size_t count = characters_ - 1;
    group_ <<= 6 * (4 - characters_);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<unsigned char>(group_ >> (16 - 8 * i));
    }
    group_ = 0;
    characters_ = 0;
    return count;
}
