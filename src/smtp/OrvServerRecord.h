// One of the two mail servers as the attribute store configures it, and whether it can be used.
//
// Plain data: no lock, no name resolution. A wrong address literal is found by whoever connects to it.
#pragma once

#include "smtp/SmtpAddrMode.h"

#include <cstdint>
#include <string>
#include <string_view>

struct OrvServerRecord {
    SmtpAddrMode Kind = SmtpAddrMode::kIPv4;
    std::string Address = kNoAddress;        // what to connect to
    std::string SecondForm = kNoSecondForm;  // what is published as the active server
    std::uint32_t Port = 0;
    bool Enabled = false;

    static constexpr char kNoAddress[] = "0.0.0.0";
    static constexpr char kNoSecondForm[] = "00000000";

    // Takes kind and addresses from a stored value: the kind's digit, a hyphen and the address. An address in
    // hexadecimal digits is turned into the usual notation for connecting. A value of any other form, the empty one
    // included, changes nothing.
    void assign(std::string_view value);

    // Enabled, and configured to something else than the default address.
    bool valid() const { return Enabled && Address != kNoAddress; }
};
