#include "switchd/services/Faults.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

FaultRule rule(FaultKind kind, FaultOperation operation, const std::string& pattern, std::uint32_t count = 1) {
    return {kind, operation, pattern, count, 5, -9};
}

bool isSilent(Faults& faults, FaultOperation operation, const std::string& name) {
    return faults.judge(operation, {&name, 1}).silent;
}

struct PatternCase {
    const char* pattern;
    const char* text;
    bool matches;
};

constexpr PatternCase PATTERNS[] = {
    {"", "", true},
    {"", "a", false},
    {"*", "", true},
    {"*", "anything", true},
    {"a", "a", true},
    {"a", "A", false},
    {"a", "ab", false},
    {"a*", "a", true},
    {"a*", "abc", true},
    {"a*", "ba", false},
    {"*a", "ba", true},
    {"*a", "ab", false},
    {"a*c", "abbc", true},
    {"a*c", "abcb", false},
    {"*.Type", "X.0.Type", true},
    {"a*b*c", "aXbYbZc", true},
    {"a*b*c", "acb", false},
    {"**", "x", true},
    {"a.c", "abc", false},
    {"*aab", "aaaab", true},
    {"a?", "ab", false},
};

}  // namespace

TEST(Faults, takesAStarForAnyRunOfCharactersAndAllElseForItself) {
    for (const PatternCase& each : PATTERNS) {
        EXPECT_EQ(matchesPattern(each.pattern, each.text), each.matches) << each.pattern << " / " << each.text;
    }
}

TEST(Faults, spoilNothingWithoutRules) {
    Faults faults;
    const std::string name = "A";

    const FaultVerdict verdict = faults.judge(FaultOperation::GET, {&name, 1});

    EXPECT_FALSE(verdict.silent || verdict.hold || verdict.corrupt);
    EXPECT_EQ(verdict.milliseconds, 0u);
    ASSERT_EQ(verdict.names.size(), 1u);
    EXPECT_FALSE(verdict.names[0].refuse || verdict.names[0].drop || verdict.names[0].status.has_value());
}

TEST(Faults, actOnlyOnTheirOperation) {
    Faults faults;
    faults.add(rule(FaultKind::SILENT, FaultOperation::GET, "*", 0));

    EXPECT_TRUE(isSilent(faults, FaultOperation::GET, "A"));
    for (const FaultOperation other :
         {FaultOperation::BULK_GET, FaultOperation::SET, FaultOperation::CONNECT, FaultOperation::LOOKUP}) {
        EXPECT_FALSE(isSilent(faults, other, "A"));
    }
}

TEST(Faults, actOnEveryOperationOfTheAttributeServiceButOnNoLookupWithAny) {
    Faults faults;
    faults.add(rule(FaultKind::SILENT, FaultOperation::ANY, "*", 0));

    for (const FaultOperation operation :
         {FaultOperation::GET, FaultOperation::BULK_GET, FaultOperation::SET, FaultOperation::CONNECT}) {
        EXPECT_TRUE(isSilent(faults, operation, "A"));
    }
    EXPECT_FALSE(isSilent(faults, FaultOperation::LOOKUP, "A"));
}

TEST(Faults, actAsOftenAsTheyCount) {
    Faults faults;
    faults.add(rule(FaultKind::SILENT, FaultOperation::GET, "A", 2));

    EXPECT_TRUE(isSilent(faults, FaultOperation::GET, "A"));
    EXPECT_FALSE(isSilent(faults, FaultOperation::GET, "B"));
    EXPECT_EQ(faults.rules().at(0).rule.count, 1u);
    EXPECT_TRUE(isSilent(faults, FaultOperation::GET, "A"));
    EXPECT_FALSE(isSilent(faults, FaultOperation::GET, "A"));

    EXPECT_THAT(faults.rules(), IsEmpty());
}

TEST(Faults, countABulkRequestOnceHoweverManyOfItsNamesMatch) {
    Faults faults;
    faults.add(rule(FaultKind::REFUSE, FaultOperation::BULK_GET, "A*", 2));
    const std::vector<std::string> names{"A1", "B", "A2"};

    const FaultVerdict verdict = faults.judge(FaultOperation::BULK_GET, names);

    EXPECT_TRUE(verdict.names[0].refuse);
    EXPECT_FALSE(verdict.names[1].refuse);
    EXPECT_TRUE(verdict.names[2].refuse);
    EXPECT_EQ(faults.rules().at(0).rule.count, 1u);
}

TEST(Faults, actTogether) {
    Faults faults;
    faults.add(rule(FaultKind::BAD_STATUS, FaultOperation::GET, "A"));
    faults.add(rule(FaultKind::DELAY, FaultOperation::GET, "*"));
    faults.add(rule(FaultKind::CORRUPT, FaultOperation::GET, "*"));
    faults.add(rule(FaultKind::HOLD, FaultOperation::GET, "*"));
    faults.add(rule(FaultKind::DROP_ENTRY, FaultOperation::ANY, "*"));
    const std::string name = "A";

    const FaultVerdict verdict = faults.judge(FaultOperation::GET, {&name, 1});

    EXPECT_EQ(verdict.names[0].status, -9);
    EXPECT_TRUE(verdict.names[0].drop);
    EXPECT_EQ(verdict.milliseconds, 5u);
    EXPECT_TRUE(verdict.corrupt);
    EXPECT_TRUE(verdict.hold);
    EXPECT_THAT(faults.rules(), IsEmpty());
}

TEST(Faults, areRemovedByTheirNumber) {
    Faults faults;
    const std::uint32_t first = faults.add(rule(FaultKind::SILENT, FaultOperation::GET, "A", 0));
    const std::uint32_t second = faults.add(rule(FaultKind::SILENT, FaultOperation::GET, "B", 0));
    EXPECT_EQ(first, 1u);
    EXPECT_EQ(second, 2u);

    EXPECT_TRUE(faults.remove(first));
    EXPECT_FALSE(faults.remove(first));

    EXPECT_FALSE(isSilent(faults, FaultOperation::GET, "A"));
    EXPECT_TRUE(isSilent(faults, FaultOperation::GET, "B"));
}

TEST(Faults, releaseHeldAnswersInTheOrderInWhichTheyWereHeld) {
    Faults faults;
    std::vector<int> sent;
    faults.hold([&] { sent.push_back(1); });
    faults.hold([&] { sent.push_back(2); });
    EXPECT_EQ(faults.held(), 2u);

    EXPECT_EQ(faults.release(), 2u);
    EXPECT_EQ(faults.release(), 0u);

    EXPECT_THAT(sent, ElementsAre(1, 2));
}

TEST(Faults, releaseWhatTheyHoldWhenCleared) {
    Faults faults;
    faults.add(rule(FaultKind::HOLD, FaultOperation::GET, "A", 0));
    bool sent = false;
    faults.hold([&] { sent = true; });

    EXPECT_EQ(faults.clear(), 1u);

    EXPECT_TRUE(sent);
    EXPECT_THAT(faults.rules(), IsEmpty());
}

TEST(Faults, nameWhatMakesNoSense) {
    EXPECT_EQ(Faults::problem(rule(FaultKind::SILENT, FaultOperation::LOOKUP, "SM")), "");
    EXPECT_EQ(Faults::problem(rule(FaultKind::DROP_ENTRY, FaultOperation::ANY, "A")), "");
    EXPECT_EQ(Faults::problem(rule(FaultKind::DELAY, FaultOperation::LOOKUP, "SM")),
              "a lookup can only be left unanswered");
    EXPECT_EQ(Faults::problem(rule(FaultKind::DROP_ENTRY, FaultOperation::GET, "A")),
              "entries can only be dropped from bulk answers");
    EXPECT_EQ(Faults::problem(rule(static_cast<FaultKind>(7), FaultOperation::GET, "A")), "unknown kind of fault 7");
    EXPECT_EQ(Faults::problem(rule(FaultKind::HOLD, static_cast<FaultOperation>(6), "A")), "unknown operation 6");
}
