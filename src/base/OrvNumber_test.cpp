#include "base/OrvNumber.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct UnsignedCase {
    const char* name;
    std::string_view text;
    std::uint32_t value;
    bool outOfRange;
    bool complete;
};

class OrvToUnsigned : public testing::TestWithParam<UnsignedCase> {};

TEST_P(OrvToUnsigned, readsAsA32BitStrtoulDoes) {
    const OrvUnsignedNumber number = orvToUnsigned(GetParam().text);

    EXPECT_EQ(number.value, GetParam().value);
    EXPECT_EQ(number.outOfRange, GetParam().outOfRange);
    EXPECT_EQ(number.complete, GetParam().complete);
}

using namespace std::string_view_literals;

INSTANTIATE_TEST_SUITE_P(
    Texts, OrvToUnsigned,
    testing::Values(
        UnsignedCase{"empty", "", 0, false, false}, UnsignedCase{"letters", "mabc", 0, false, false},
        UnsignedCase{"blanksOnly", " \t\n", 0, false, false}, UnsignedCase{"zero", "0", 0, false, true},
        UnsignedCase{"digits", "1234", 1234, false, true},
        UnsignedCase{"leadingZeros", "000000000000000000000025", 25, false, true},
        UnsignedCase{"leadingBlanks", " \t\n\v\f\r25", 25, false, true}, UnsignedCase{"plus", "+7", 7, false, true},
        UnsignedCase{"minusWraps", "-1", 4294967295u, false, true}, UnsignedCase{"minusZero", "-0", 0, false, true},
        UnsignedCase{"minusLargestWrapsToOne", "-4294967295", 1, false, true},
        UnsignedCase{"signAlone", "-", 0, false, false}, UnsignedCase{"twoSigns", "+-1", 0, false, false},
        UnsignedCase{"signThenBlank", "- 1", 0, false, false}, UnsignedCase{"restIgnored", "12\n", 12, false, false},
        UnsignedCase{"hexadecimalIsNot", "0x10", 0, false, false},
        UnsignedCase{"largest", "4294967295", 4294967295u, false, true},
        UnsignedCase{"oneTooLarge", "4294967296", 4294967295u, true, true},
        UnsignedCase{"farTooLarge", "18446744073709551617", 4294967295u, true, true},
        UnsignedCase{"muchTooLargeThenText", "99999999999999999999999999 x", 4294967295u, true, false},
        UnsignedCase{"tooSmall", "-4294967296", 4294967295u, true, true},
        UnsignedCase{"endsAtNul", "12\0003"sv, 12, false, false},
        UnsignedCase{"highCharacters",
                     "\xff"
                     "1",
                     0, false, false}),
    [](const auto& test) { return test.param.name; });

struct SignedCase {
    const char* name;
    std::string_view text;
    std::int32_t value;
    bool outOfRange;
    bool complete;
};

class OrvToSigned : public testing::TestWithParam<SignedCase> {};

TEST_P(OrvToSigned, readsAsA32BitStrtolDoes) {
    const OrvSignedNumber number = orvToSigned(GetParam().text);

    EXPECT_EQ(number.value, GetParam().value);
    EXPECT_EQ(number.outOfRange, GetParam().outOfRange);
    EXPECT_EQ(number.complete, GetParam().complete);
}

constexpr std::int32_t kLowest = -2147483647 - 1;

INSTANTIATE_TEST_SUITE_P(Texts, OrvToSigned,
                         testing::Values(SignedCase{"empty", "", 0, false, false},
                                         SignedCase{"digits", "1234", 1234, false, true},
                                         SignedCase{"negative", " -17", -17, false, true},
                                         SignedCase{"plus", "+17", 17, false, true},
                                         SignedCase{"restIgnored", "5 MB", 5, false, false},
                                         SignedCase{"largest", "2147483647", 2147483647, false, true},
                                         SignedCase{"oneTooLarge", "2147483648", 2147483647, true, true},
                                         SignedCase{"farTooLarge", "99999999999999999999", 2147483647, true, true},
                                         SignedCase{"smallest", "-2147483648", kLowest, false, true},
                                         SignedCase{"oneTooSmall", "-2147483649", kLowest, true, true},
                                         SignedCase{"farTooSmall", "-99999999999999999999", kLowest, true, true},
                                         SignedCase{"letters", "abc", 0, false, false}),
                         [](const auto& test) { return test.param.name; });

}  // namespace
