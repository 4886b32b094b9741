#include "switchctl/text/Suggestion.h"

#include <gtest/gtest.h>

namespace {

const std::vector<std::string> LEVELS = {"Info", "Warn", "Critical", "Alarm", "Fault", "None"};

struct SlipCase {
    const char* word;
    const char* meant;
};

constexpr SlipCase SLIPS[] = {
    {"Alrm", "Alarm"}, {"alamr", "Alarm"},  {"Critcal", "Critical"}, {"criticla", "Critical"},
    {"Waarn", "Warn"}, {"Faultt", "Fault"}, {"Severe", ""},          {"", ""},
    {"x", ""},         {"in", ""},          {"Crtcl", ""},           {"Notice", ""},
};

TEST(Suggestion, namesTheWordThatIsASlipOrTwoAway) {
    for (const SlipCase& one : SLIPS) {
        const std::string meant = one.meant;
        EXPECT_EQ(Suggestion::didYouMean(one.word, LEVELS), meant.empty() ? "" : "; did you mean " + meant + "?")
            << one.word;
    }
    EXPECT_EQ(Suggestion::didYouMean(std::string(100000, 'a'), LEVELS), "");
}

TEST(Suggestion, findsAWordInAnyCase) {
    EXPECT_EQ(Suggestion::inAnyCase("aLARM", LEVELS), "Alarm");
    EXPECT_EQ(Suggestion::inAnyCase("Alarms", LEVELS), "");
    EXPECT_EQ(Suggestion::inAnyCase("", LEVELS), "");
}

}  // namespace
