#include "platform/wire/SocketAddress.h"

#include "testing/platform/payloads.h"

#include <gmock/gmock.h>

#include <algorithm>

using testing::Each;
using testing::Eq;
using testing::IsEmpty;

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes first(const SocketAddress::Slot& slot, std::size_t count) {
    return {slot.begin(), slot.begin() + static_cast<std::ptrdiff_t>(count)};
}

Bytes rest(const SocketAddress::Slot& slot, std::size_t from) {
    return {slot.begin() + static_cast<std::ptrdiff_t>(from), slot.end()};
}

}  // namespace

TEST(SocketAddress, holdsAnIpv4AddressAtOffsetFour) {
    const auto slot = SocketAddress::encode("10.1.2.3", 0x1234);

    ASSERT_TRUE(slot);
    EXPECT_EQ(first(*slot, 8), (Bytes{0, 2, 0x12, 0x34, 10, 1, 2, 3}));
    EXPECT_THAT(rest(*slot, 8), Each(Eq(0)));
    EXPECT_EQ(SocketAddress::text(*slot), "10.1.2.3");
}

TEST(SocketAddress, holdsAnIpv6AddressAtOffsetEight) {
    const auto slot = SocketAddress::encode("fe80::1:2");

    ASSERT_TRUE(slot);
    EXPECT_EQ(first(*slot, 24), (Bytes{0, 10, 0, 0, 0, 0, 0, 0, 0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 2}));
    EXPECT_THAT(rest(*slot, 24), Each(Eq(0)));
    EXPECT_EQ(SocketAddress::text(*slot), "fe80::1:2");
}

TEST(SocketAddress, refusesATextThatIsNoAddress) {
    for (const char* text : {"", "10.1.2", "10.1.2.256", "host", "fe80::g"}) {
        EXPECT_FALSE(SocketAddress::encode(text)) << text;
    }
}

TEST(SocketAddress, hasNoTextForAnotherFamily) {
    SocketAddress::Slot slot{};
    slot[1] = 1;

    EXPECT_FALSE(SocketAddress::text(slot));
    EXPECT_FALSE(SocketAddress::text(SocketAddress::Slot{}));
}

TEST(InterfaceChange, carriesTwoWordsACountAndTheAddresses) {
    InterfaceChange change{1, 1, {*SocketAddress::encode("10.0.0.1"), *SocketAddress::encode("::1")}};
    const auto payload = encodeFields(change);

    ASSERT_EQ(payload.size(), 12u + 2 * 128);
    EXPECT_EQ(Bytes(payload.begin(), payload.begin() + 12), (Bytes{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 2}));
    EXPECT_TRUE(std::equal(change.addresses[0].begin(), change.addresses[0].end(), payload.begin() + 12));
    EXPECT_TRUE(std::equal(change.addresses[1].begin(), change.addresses[1].end(), payload.begin() + 140));
    const auto read = decodeFields<InterfaceChange>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->interface, 1u);
    EXPECT_EQ(read->management, 1u);
    EXPECT_EQ(read->addresses, change.addresses);
    expectOnlyTheWholePayloadIsRead<InterfaceChange>(payload);
}

TEST(InterfaceChange, mayHaveNoAddress) {
    const auto read = decodeFields<InterfaceChange>(encodeFields(InterfaceChange{1, 2, {}}));

    ASSERT_TRUE(read);
    EXPECT_THAT(read->addresses, IsEmpty());
}

TEST(InterfaceChange, refusesACountThatItsBytesDoNotBearOut) {
    EXPECT_FALSE(decodeFields<InterfaceChange>(Bytes{0, 0, 0, 1, 0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF}));
}
