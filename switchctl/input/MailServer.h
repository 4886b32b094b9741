// A mail server as an operator writes it: ADDR:PORT or KIND-ADDR:PORT.
#pragma once

#include <cstdint>
#include <string>

struct MailServer {
    static constexpr std::uint16_t DEFAULT_PORT = 25;

    std::string value;  // as the attribute store has it: kind digit, hyphen, address
    std::uint16_t port = DEFAULT_PORT;

    // An IPv4 address, an IPv6 address (in brackets when a port follows) or a host name; 1-, 2- or 3- before it says
    // which of them it is. Throws UsageError.
    static MailServer parse(const std::string& text);

    // The address in a value of the attribute store for a person to read, hexadecimal digits in the usual notation.
    // "" when the value names no server.
    static std::string shown(const std::string& value);
};
