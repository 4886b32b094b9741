// The interface-change event: its addresses, and which of them the identity takes.
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "profile/OrvCHMesgCommon.h"
#include "word_order.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgCommon";

// A socket address as the switch lays it out, whatever this machine's looks like.
constexpr std::size_t kCountSize = 4;
constexpr std::size_t kSlotSize = 128;
constexpr std::size_t kIPv4Offset = 4;
constexpr std::size_t kIPv4Size = 4;
constexpr std::size_t kIPv6Offset = 8;
constexpr std::size_t kIPv6Size = 16;
constexpr std::uint16_t kFamilyIPv4 = 2;
constexpr std::uint16_t kFamilyIPv6 = 10;

// The addresses that are really there, whatever their count says.
std::size_t countOf(std::span<const std::uint8_t> data) {
    if (data.size() < kCountSize) {
        return 0;
    }
    return std::min<std::size_t>(bigEndian32(data), (data.size() - kCountSize) / kSlotSize);
}

}  // namespace

OrvCHMesgCommon::AddressPrinter OrvCHMesgCommon::defaultAddressPrinter() {
    return inet_ntop;
}

int OrvCHMesgCommon::setSwitchAddr(std::span<const std::uint8_t> countAndAddresses) {
    const std::size_t count = countOf(countAndAddresses);
    if (count == 0) {
        ORV_TRACE("CMON_IF_CHANGED event sent 0 IP addresses count\n");
        return 0;
    }
    bool ipv4Taken = false;
    bool ipv6Taken = false;
    for (std::size_t i = 0; i < count && !(ipv4Taken && ipv6Taken); ++i) {
        const auto slot = countAndAddresses.subspan(kCountSize + i * kSlotSize, kSlotSize);
        const std::uint16_t family = bigEndian16(slot);
        if (family == kFamilyIPv4 && !ipv4Taken) {
            ipv4Taken = takeAddress(AF_INET, family, slot.subspan(kIPv4Offset, kIPv4Size));
        } else if (family == kFamilyIPv6 && !ipv6Taken) {
            ipv6Taken = takeAddress(AF_INET6, family, slot.subspan(kIPv6Offset, kIPv6Size));
        }
    }
    return 0;
}

bool OrvCHMesgCommon::takeAddress(int hostFamily, std::uint16_t family, std::span<const std::uint8_t> address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (addressPrinter_(hostFamily, address.data(), text.data(), text.size()) == nullptr) {
        const int error = errno;
        ORV_TRACE("CMON_IF_CHANGED event sent invalid IP address inet_top(%d, %s) %s\n", family, text.data(),
                  orvErrorText(error).c_str());
        return false;
    }
    const bool isIPv4 = family == kFamilyIPv4;
    {
        Mt::Lock lock(lock_);
        (isIPv4 ? identity_.IPv4Address : identity_.IPv6Address) = text.data();
    }
    ORV_TRACE("CMON_IF_CHANGED event - Setting switch %s address to '%s'\n", isIPv4 ? "IPv4" : "IPv6", text.data());
    return true;
}
