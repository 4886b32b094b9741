// The interface-change event: its addresses, and which of them the switch's identity takes. Main thread only.
//
// In traces it goes by the identity's name, OrvCHMesgCommon.
#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>

#include <cstdint>
#include <functional>
#include <span>

// Turns an address of a family into a text, as inet_ntop does: null and errno when it cannot.
using OrvAddressPrinter = const char* (*)(int family, const void* address, char* text, socklen_t size);
// Is given an address of AF_INET or AF_INET6.
using OrvAddressTaker = std::function<void(int family, const char* text)>;

// From the count on: a word and so many socket addresses of 128 bytes. The first address of each family that has a text
// is handed on.
void orvTakeSwitchAddresses(std::span<const std::uint8_t> countAndAddresses, const OrvAddressTaker& take,
                            OrvAddressPrinter print = inet_ntop);
