// How an address text is to be read: a server's address, and the identity a client gives itself.
#pragma once

#include <cstdint>

// Other values can come from outside; whoever uses a kind decides what such a one does.
enum class SmtpAddrMode : std::uint32_t { kIPv4 = 1, kIPv6 = 2, kHostName = 3 };
