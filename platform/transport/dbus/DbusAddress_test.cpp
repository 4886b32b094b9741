#include "platform/transport/dbus/DbusAddress.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct UniqueNameCase {
    const char* name;
    bool valid;
    std::uint32_t node;
    std::uint32_t process;
};

const UniqueNameCase UNIQUE_NAMES[] = {
    {":1.42", true, 1, 42},
    {":2.0", true, 2, 0},
    {":4294967295.4294967295", true, 4294967295u, 4294967295u},
    {":4294967296.1", false, 0, 0},
    {":0.7", false, 0, 0},  // Node 0 is the services'.
    {":1.042", false, 0, 0},
    {":1.", false, 0, 0},
    {":.1", false, 0, 0},
    {":1", false, 0, 0},
    {":1.2.3", false, 0, 0},
    {":1.-2", false, 0, 0},
    {":1. 2", false, 0, 0},
    {"1.2", false, 0, 0},
    {"hsb.Switchd", false, 0, 0},
    {":", false, 0, 0},
    {"", false, 0, 0},
    {nullptr, false, 0, 0},
};

class DbusUniqueName : public testing::TestWithParam<UniqueNameCase> {};

TEST_P(DbusUniqueName, isReadWholeOrNotAtAll) {
    Hsb_Address address{7, 8, 9};

    const int result = DbusAddress::parseUniqueName(GetParam().name, address);

    EXPECT_EQ(result, GetParam().valid ? 0 : -1);
    const Hsb_Address expected =
        GetParam().valid ? Hsb_Address{GetParam().node, GetParam().process, 0xFFFF} : Hsb_Address{7, 8, 9};
    EXPECT_EQ(address, expected);
}

INSTANTIATE_TEST_SUITE_P(Table, DbusUniqueName, testing::ValuesIn(UNIQUE_NAMES));

TEST(DbusProcessName, isTheUniqueNameOfAProcess) {
    EXPECT_STREQ(DbusAddress::processName({1, 42, 3}).data(), ":1.42");
    EXPECT_STREQ(DbusAddress::processName({4294967295u, 4294967295u, 0}).data(), ":4294967295.4294967295");
}

TEST(DbusProcessName, isSwitchdForEveryService) {
    EXPECT_STREQ(DbusAddress::processName({0, 1, 0}).data(), "hsb.Switchd");
    EXPECT_STREQ(DbusAddress::processName({0, 7, 0}).data(), "hsb.Switchd");
}

}  // namespace
