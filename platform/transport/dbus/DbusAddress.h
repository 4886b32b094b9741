// Addresses of the switch's bus as names of D-Bus, and back.
//
// A process with the unique name ":M.N" is {node M, process N}; its parties are told apart by their slots. Node 0
// holds the services, all of them in the process that owns SWITCHD_NAME.
#pragma once

#include "Hsb_Address.h"
#include "MessageCodes.h"

#include <array>

namespace DbusAddress {

inline constexpr const char* SWITCHD_NAME = "hsb.Switchd";
inline constexpr std::uint16_t NO_SLOT = 0xFFFF;

using Name = std::array<char, 24>;  // NUL-terminated; ":4294967295.4294967295" fits.

using ServiceAddress::isService;

// Reads a unique name into node and process; slot becomes NO_SLOT. -1 (address unchanged) when it is none.
[[nodiscard]] int parseUniqueName(const char* name, Hsb_Address& address);

// The D-Bus name of the process that holds this address.
Name processName(const Hsb_Address& address);

}  // namespace DbusAddress
