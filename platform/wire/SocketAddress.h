// The data of the interface-change event (category 2, number 56), and the socket addresses in it.
//
// An address takes a slot of 128 bytes, as the switch's sockaddr_storage: u16 family (2 IPv4, 10 IPv6), u16 port;
// then the IPv4 address at offset 4, or flow information at 4, the IPv6 address at 8 and the scope at 24.
// All big-endian, all else zero. The families are those of the switch, whatever this machine calls them.
#pragma once

#include "MessageCodes.h"
#include "platform/wire/Fields.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace SocketAddress {

using Slot = std::array<std::uint8_t, SwitchSocket::SLOT>;

// The slot of an IPv4 or IPv6 address given as a text; nothing when the text is neither.
std::optional<Slot> encode(const std::string& text, std::uint16_t port = 0);
// The address as a text; nothing when the slot's family is neither.
std::optional<std::string> text(const Slot& slot);

}  // namespace SocketAddress

struct InterfaceChange {
    // Two words whose meaning is the switch's own; receivers act only when they are equal.
    std::uint32_t interface = 0;
    std::uint32_t management = 0;
    std::vector<SocketAddress::Slot> addresses;

    static void fields(auto& io, auto& message) {
        io(message.interface, message.management);
        io.list(message.addresses, [](auto& each, auto& slot) { each.bytes(slot); });
    }
};
