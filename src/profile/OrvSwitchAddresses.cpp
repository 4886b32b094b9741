#include "profile/OrvSwitchAddresses.h"

#include "MessageCodes.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "word_order.h"

#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <bitset>
#include <cerrno>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgCommon";
constexpr char kFunction[] = "setSwitchAddr";

constexpr std::size_t kCountSize = 4;

// Where an address stands in its slot: as the switch lays its socket addresses out, whatever this machine's are like.
struct AddressFamily {
    std::uint16_t number;
    int hostNumber;
    std::size_t offset;
    std::size_t size;
    const char* name;
};
constexpr std::array kFamilies{
    AddressFamily{SwitchSocket::FAMILY_IPV4, AF_INET, SwitchSocket::IPV4_OFFSET, SwitchSocket::IPV4_SIZE, "IPv4"},
    AddressFamily{SwitchSocket::FAMILY_IPV6, AF_INET6, SwitchSocket::IPV6_OFFSET, SwitchSocket::IPV6_SIZE, "IPv6"},
};

// An index into the table; its size for any other family.
std::size_t familyOf(std::span<const std::uint8_t> slot) {
    const std::uint16_t number = bigEndian16(slot);
    const auto* const found = std::ranges::find(kFamilies, number, &AddressFamily::number);
    return static_cast<std::size_t>(found - kFamilies.begin());
}

// The addresses that are really there, whatever their count says.
std::size_t countOf(std::span<const std::uint8_t> data) {
    if (data.size() < kCountSize) {
        return 0;
    }
    return std::min<std::size_t>(bigEndian32(data), (data.size() - kCountSize) / SwitchSocket::SLOT);
}

}  // namespace

void orvTakeSwitchAddresses(std::span<const std::uint8_t> countAndAddresses, const OrvAddressTaker& take,
                            OrvAddressPrinter print) {
    const std::size_t count = countOf(countAndAddresses);
    if (count == 0) {
        orvTrace(kTraceModule, kFunction, "CMON_IF_CHANGED event sent 0 IP addresses count\n");
        return;
    }
    std::bitset<kFamilies.size()> taken;
    for (std::size_t i = 0; i < count && !taken.all(); ++i) {
        const auto slot = countAndAddresses.subspan(kCountSize + i * SwitchSocket::SLOT, SwitchSocket::SLOT);
        const std::size_t index = familyOf(slot);
        if (index == kFamilies.size() || taken[index]) {
            continue;
        }
        const AddressFamily& family = kFamilies[index];
        std::array<char, INET6_ADDRSTRLEN> text{};
        if (print(family.hostNumber, slot.subspan(family.offset, family.size).data(), text.data(), text.size()) ==
            nullptr) {
            const int error = errno;
            orvTrace(kTraceModule, kFunction, "CMON_IF_CHANGED event sent invalid IP address inet_top(%d, %s) %s\n",
                     family.number, text.data(), orvErrorText(error).c_str());
            continue;
        }
        take(family.hostNumber, text.data());
        taken.set(index);
        orvTrace(kTraceModule, kFunction, "CMON_IF_CHANGED event - Setting switch %s address to '%s'\n", family.name,
                 text.data());
    }
}
