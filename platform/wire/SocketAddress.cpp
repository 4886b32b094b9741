#include "platform/wire/SocketAddress.h"

#include "platform/wire/Wire.h"

#include <arpa/inet.h>

#include <algorithm>

using namespace SwitchSocket;

namespace {

SocketAddress::Slot slotOf(WireWriter& writer) {
    SocketAddress::Slot slot{};
    const std::vector<std::uint8_t> bytes = writer.take();
    std::copy(bytes.begin(), bytes.end(), slot.begin());
    return slot;
}

}  // namespace

std::optional<SocketAddress::Slot> SocketAddress::encode(const std::string& text, std::uint16_t port) {
    std::array<std::uint8_t, IPV6_SIZE> raw{};
    WireWriter writer;
    if (inet_pton(AF_INET, text.c_str(), raw.data()) == 1) {
        writer.u16(FAMILY_IPV4).u16(port).bytes(std::span(raw).first(IPV4_SIZE));
        return slotOf(writer);
    }
    if (inet_pton(AF_INET6, text.c_str(), raw.data()) == 1) {
        writer.u16(FAMILY_IPV6).u16(port).u32(0).bytes(raw);
        return slotOf(writer);
    }
    return std::nullopt;
}

std::optional<std::string> SocketAddress::text(const Slot& slot) {
    WireReader reader(slot);
    const std::uint16_t family = reader.u16();
    reader.u16();
    if (family == FAMILY_IPV6) {
        reader.u32();
    }
    std::array<char, INET6_ADDRSTRLEN> buffer{};
    const int known = family == FAMILY_IPV4 ? AF_INET : family == FAMILY_IPV6 ? AF_INET6 : AF_UNSPEC;
    const void* raw = reader.bytes(IPV6_SIZE).data();
    if (inet_ntop(known, raw, buffer.data(), buffer.size()) == nullptr) {
        return std::nullopt;
    }
    return std::string(buffer.data());
}
