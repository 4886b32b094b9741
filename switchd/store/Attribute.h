// One attribute of the switch: a dotted name, a type and a value of arbitrary bytes.
#pragma once

#include <cstdint>
#include <string>

struct Attribute {
    std::string key;
    std::uint32_t type = 1;  // dsClient::TYPE_STRING, TYPE_INTEGER; kept, not interpreted
    std::string value;

    friend bool operator==(const Attribute&, const Attribute&) = default;
};
