#include "profile/OrvAddressText.h"

#include <arpa/inet.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace {

// Fills the bytes from exactly twice as many hexadecimal digits.
template <std::size_t Size>
bool hexBytes(std::string_view text, std::array<std::uint8_t, Size>& bytes) {
    if (text.size() != 2 * Size) {
        return false;
    }
    for (std::size_t i = 0; i < Size; ++i) {
        const char* digits = text.data() + 2 * i;
        const auto result = std::from_chars(digits, digits + 2, bytes[i], 16);
        if (result.ec != std::errc() || result.ptr != digits + 2) {
            return false;
        }
    }
    return true;
}

template <std::size_t Size>
std::string fromHex(int family, std::string_view text) {
    std::array<std::uint8_t, Size> bytes{};
    std::array<char, INET6_ADDRSTRLEN> buffer{};
    if (!hexBytes(text, bytes) || inet_ntop(family, bytes.data(), buffer.data(), buffer.size()) == nullptr) {
        return std::string(text);
    }
    return buffer.data();
}

}  // namespace

std::optional<OrvKindAndAddress> orvSplitAddress(std::string_view value) {
    constexpr std::size_t kPrefixLength = 2;
    if (value.size() < kPrefixLength || value[1] != '-') {
        return std::nullopt;
    }
    return OrvKindAndAddress{value[0], value.substr(kPrefixLength)};
}

std::string orvAddressText(std::string_view value) {
    const std::optional<OrvKindAndAddress> parts = orvSplitAddress(value);
    switch (parts ? parts->kind : '\0') {
        case '0':
            return "";
        case '1':
            return fromHex<4>(AF_INET, parts->address);
        case '2':
            return fromHex<16>(AF_INET6, parts->address);
        default:
            return std::string(value);
    }
}
