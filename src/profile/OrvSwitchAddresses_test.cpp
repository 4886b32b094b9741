#include "profile/OrvSwitchAddresses.h"

#include "profile/OrvCHMesgCommon.h"
#include "testing/profile/IdentityNeighbours.h"
#include "testing/profile/RecordingSwitch.h"
#include "word_order.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Bytes = std::vector<std::uint8_t>;

// A slot of 128 bytes as the switch lays it out, whatever is not named filled with noise.
Bytes slotOf(std::uint16_t family, std::size_t offset, const Bytes& address) {
    Bytes slot;
    appendBigEndian16(slot, family);
    slot.resize(128, 0xEE);
    std::copy(address.begin(), address.end(), slot.begin() + static_cast<std::ptrdiff_t>(offset));
    return slot;
}

Bytes ipv4(std::uint8_t last) {
    return slotOf(2, 4, {10, 0, 0, last});
}

Bytes ipv6(std::uint8_t last) {
    return slotOf(10, 8, {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, last});
}

Bytes eventOf(std::uint32_t count, const std::vector<Bytes>& slots) {
    Bytes event;
    appendBigEndian32(event, count);
    for (const Bytes& slot : slots) {
        event.insert(event.end(), slot.begin(), slot.end());
    }
    return event;
}

Bytes eventOf(const std::vector<Bytes>& slots) {
    return eventOf(static_cast<std::uint32_t>(slots.size()), slots);
}

// Fails for addresses that end in 9.
const char* printUnlessNine(int family, const void* address, char* text, socklen_t size) {
    const auto* bytes = static_cast<const std::uint8_t*>(address);
    if (bytes[family == AF_INET ? 3 : 15] == 9) {
        errno = ENOSPC;
        return nullptr;
    }
    return inet_ntop(family, address, text, size);
}

class OrvSwitchAddressesTest : public testing::Test {
protected:
    void take(const Bytes& event) {
        orvTakeSwitchAddresses(
            event, [this](int family, const char* text) { EXPECT_TRUE(taken_.emplace(family, text).second); },
            printUnlessNine);
    }

    RecordingSwitch switch_;
    std::map<int, std::string> taken_;
};

class OrvCHMesgCommonAddressTest : public testing::Test {
protected:
    RecordingSwitch switch_;
    IdentityNeighbours neighbours_;
    OrvCHMesgCommon common_{switch_.store(), neighbours_, neighbours_};
};

constexpr char kNoAddresses[] = "OrvCHMesgCommon setSwitchAddr: CMON_IF_CHANGED event sent 0 IP addresses count\n";

TEST_F(OrvSwitchAddressesTest, takesOneAddressOfEachFamily) {
    take(eventOf({ipv6(1), ipv4(2)}));

    EXPECT_EQ(taken_[AF_INET], "10.0.0.2");
    EXPECT_EQ(taken_[AF_INET6], "2001:db8::1");
    EXPECT_THAT(switch_.takeTraces(),
                ElementsAre("OrvCHMesgCommon setSwitchAddr: CMON_IF_CHANGED event - Setting switch IPv6 address to "
                            "'2001:db8::1'\n",
                            "OrvCHMesgCommon setSwitchAddr: CMON_IF_CHANGED event - Setting switch IPv4 address to "
                            "'10.0.0.2'\n"));
}

TEST_F(OrvSwitchAddressesTest, takesTheFirstOfSeveralOnly) {
    take(eventOf({ipv4(1), ipv4(2), ipv6(3), ipv6(4), ipv4(5)}));

    EXPECT_EQ(taken_[AF_INET], "10.0.0.1");
    EXPECT_EQ(taken_[AF_INET6], "2001:db8::3");
    EXPECT_EQ(switch_.takeTraces().size(), 2u);
}

TEST_F(OrvCHMesgCommonAddressTest, replacesWhatAnEarlierEventSetAndKeepsTheOtherFamily) {
    common_.setSwitchAddr(eventOf({ipv4(1), ipv6(1)}));

    common_.setSwitchAddr(eventOf({ipv4(2)}));

    EXPECT_EQ(common_.current().IPv4Address, "10.0.0.2");
    EXPECT_EQ(common_.current().IPv6Address, "2001:db8::1");
    EXPECT_THAT(neighbours_.calls, IsEmpty());
}

TEST_F(OrvSwitchAddressesTest, takesTheNextAddressWhenOneCannotBeConverted) {
    take(eventOf({ipv4(9), ipv6(9), ipv4(2), ipv6(3)}));

    EXPECT_EQ(taken_[AF_INET], "10.0.0.2");
    EXPECT_EQ(taken_[AF_INET6], "2001:db8::3");
    EXPECT_THAT(
        switch_.takeTraces(),
        ElementsAre(
            "OrvCHMesgCommon setSwitchAddr: CMON_IF_CHANGED event sent invalid IP address inet_top(2, ) No space "
            "left on device\n",
            "OrvCHMesgCommon setSwitchAddr: CMON_IF_CHANGED event sent invalid IP address inet_top(10, ) No "
            "space left on device\n",
            "OrvCHMesgCommon setSwitchAddr: CMON_IF_CHANGED event - Setting switch IPv4 address to "
            "'10.0.0.2'\n",
            "OrvCHMesgCommon setSwitchAddr: CMON_IF_CHANGED event - Setting switch IPv6 address to "
            "'2001:db8::3'\n"));
}

TEST_F(OrvSwitchAddressesTest, stopsWalkingOnceBothAreSet) {
    take(eventOf({ipv4(1), ipv6(1), ipv4(9), ipv6(9)}));

    EXPECT_EQ(switch_.takeTraces().size(), 2u);
}

TEST_F(OrvSwitchAddressesTest, ignoresOtherFamilies) {
    take(eventOf({slotOf(1, 4, {1, 2, 3, 4}), slotOf(0x0200, 4, {1, 2, 3, 4})}));

    EXPECT_EQ(taken_[AF_INET], "");
    EXPECT_EQ(taken_[AF_INET6], "");
    EXPECT_THAT(switch_.takeTraces(), IsEmpty());
}

TEST_F(OrvSwitchAddressesTest, tracesAnEventWithoutAddresses) {
    take(eventOf({}));
    // A count of which nothing is there counts as none, and so does no count at all.
    take(eventOf(1, {}));
    take(Bytes{0, 0, 1});
    take({});

    EXPECT_THAT(switch_.takeTraces(), ElementsAre(kNoAddresses, kNoAddresses, kNoAddresses, kNoAddresses));
}

TEST_F(OrvSwitchAddressesTest, looksAtNoMoreAddressesThanAreThere) {
    Bytes event = eventOf(0xFFFFFFFFu, {ipv4(1), ipv6(2)});
    event.pop_back();

    take(event);

    EXPECT_EQ(taken_[AF_INET], "10.0.0.1");
    EXPECT_EQ(taken_[AF_INET6], "");
}

TEST_F(OrvSwitchAddressesTest, looksAtNoMoreAddressesThanTheCountSays) {
    take(eventOf(1, {ipv4(1), ipv6(2)}));

    EXPECT_EQ(taken_[AF_INET], "10.0.0.1");
    EXPECT_EQ(taken_[AF_INET6], "");
}

TEST_F(OrvCHMesgCommonAddressTest, losesItsAddressToTheAnswerOfAReReadThatWasUnderWay) {
    ASSERT_EQ(common_.readConfig(), 0);
    common_.setSwitchAddr(eventOf({ipv4(1), ipv6(1)}));

    const std::vector<DsEntry> entries{{"Global.Network.Eth.0.NF-IPAddress", 1, "1-10.9.9.9"}};
    EXPECT_EQ(common_.processConfigBulk(entries, std::vector<std::int32_t>{0}), 0);

    EXPECT_EQ(common_.current().IPv4Address, "10.9.9.9");
    EXPECT_EQ(common_.current().IPv6Address, "2001:db8::1");
}

}  // namespace
