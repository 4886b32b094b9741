// A mail server as an operator writes it: KIND-ADDR:PORT.
#pragma once

#include <cstdint>
#include <string>

struct MailServer {
    static constexpr std::uint16_t DEFAULT_PORT = 25;

    std::string value;  // as the attribute store has it: kind digit, hyphen, address
    std::uint16_t port = DEFAULT_PORT;

    // 1- and an IPv4 address, 2- and an IPv6 address (in brackets when a port follows), 3- and a host name. Throws
    // UsageError.
    static MailServer parse(const std::string& text);

    // The address in a value of the attribute store for a person to read, hexadecimal digits in the usual notation.
    // "" when the value names no server.
    static std::string shown(const std::string& value);
};
