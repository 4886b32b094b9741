// An address as the attribute store keeps it, in the form that people read. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// A stored address taken apart: the digit that tells its kind, and what follows the hyphen.
struct OrvKindAndAddress {
    char kind;
    std::string_view address;  // within the value
};

// None when the value is not a character, a hyphen and the rest.
std::optional<OrvKindAndAddress> orvSplitAddress(std::string_view value);

// A value with a kind's prefix loses it: "1-" before an IPv4 and "2-" before an IPv6 address; eight respectively 32
// hexadecimal digits after it become the usual notation. "0-" and whatever follows it is no address: empty. Every
// other value stays as it stands.
std::string orvAddressText(std::string_view value);
