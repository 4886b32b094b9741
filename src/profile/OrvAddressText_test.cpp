#include "profile/OrvAddressText.h"

#include <gtest/gtest.h>

namespace {

TEST(OrvAddressText, dropsTheKindAndTurnsHexadecimalAddressesIntoTheUsualNotation) {
    struct Case {
        const char* value;
        const char* text;
    };
    const Case cases[] = {
        {"", ""},
        {"10.0.0.1", "10.0.0.1"},
        {"fe80::1", "fe80::1"},
        {"0-", ""},
        {"0-10.0.0.1", ""},
        {"1-", ""},
        {"1-10.0.0.1", "10.0.0.1"},
        {"1-0A00000b", "10.0.0.11"},
        {"1-00000000", "0.0.0.0"},
        {"1-0A00000", "0A00000"},
        {"1-0A00000bb", "0A00000bb"},
        {"1-0A0000zz", "0A0000zz"},
        {"1-0A0000-1", "0A0000-1"},
        {"2-fe80::1", "fe80::1"},
        {"2-20010db8000000000000000000000001", "2001:db8::1"},
        {"2-20010DB80000000000000000000000FF", "2001:db8::ff"},
        {"2-20010db800000000000000000000000", "20010db800000000000000000000000"},
        {"2-0A000001", "0A000001"},
        {"3-mail", "3-mail"},
        {"9-", "9-"},
        {"1", "1"},
        {"-1", "-1"},
        {"12-34", "12-34"},
    };
    for (const Case& address : cases) {
        EXPECT_EQ(orvAddressText(address.value), address.text) << address.value;
    }
}

}  // namespace
