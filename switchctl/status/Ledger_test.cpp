// The books: what came is what is accounted for, and a word where it is not.
#include "switchctl/status/Ledger.h"

#include "testing/switchctl/HealthyFacts.h"

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// A daemon that tells these numbers in its probe, and 0 for all others; its refusals stand in the event log.
StatusFacts factsWith(const std::map<std::string, int>& numbers) {
    StatusFacts facts = healthyFacts();
    const auto number = [&](const char* key) { return std::to_string(numbers.contains(key) ? numbers.at(key) : 0); };
    for (const char* key : {DaemonWords::RECEIVED_ALL, DaemonWords::RECEIVED_TESTS, DaemonWords::RESTORED,
                            DaemonWords::MAILED, DaemonWords::RECEIVED_REPEATS, DaemonWords::DELETED_FOR_SPACE,
                            DaemonWords::DELETED_FOR_FILE_LIMIT, DaemonWords::DELETED_FOR_TIME,
                            DaemonWords::DELETED_FOR_CLEAR, DaemonWords::NOT_ADDED, DaemonWords::OPEN_NOW}) {
        facts.probe->statistics[key] = number(key);
    }
    for (const char* key : {DaemonWords::EARLY, DaemonWords::WAITING, DaemonWords::PERSISTENT}) {
        facts.probe->lists[key] = number(key);
    }
    facts.log.refusals.assign(facts.probe->statistics[DaemonWords::NOT_ADDED] == "0" ? 0 : 1, NOW - 60 * SECOND);
    return facts;
}

struct LedgerCase {
    const char* name;
    std::map<std::string, int> numbers;
    Ledger::Verdict verdict;
    std::int64_t excess;
};

using Verdict = Ledger::Verdict;

const LedgerCase LEDGERS[] = {
    {"nothing came", {}, Verdict::EXACT, 0},
    {"one of each",
     {{DaemonWords::RECEIVED_ALL, 9},
      {DaemonWords::RESTORED, 1},
      {DaemonWords::MAILED, 1},
      {DaemonWords::RECEIVED_REPEATS, 1},
      {DaemonWords::DELETED_FOR_SPACE, 1},
      {DaemonWords::DELETED_FOR_FILE_LIMIT, 1},
      {DaemonWords::DELETED_FOR_TIME, 1},
      {DaemonWords::DELETED_FOR_CLEAR, 1},
      {DaemonWords::NOT_ADDED, 1},
      {DaemonWords::OPEN_NOW, 1},
      {DaemonWords::EARLY, 1},
      {DaemonWords::WAITING, 1}},
     Verdict::EXACT,
     0},
    {"a mail for its repeats",
     {{DaemonWords::RECEIVED_ALL, 3}, {DaemonWords::MAILED, 2}, {DaemonWords::RECEIVED_REPEATS, 2}},
     Verdict::TWICE,
     1},
    {"one that was mailed, parked and cleared",
     {{DaemonWords::RECEIVED_ALL, 1}, {DaemonWords::MAILED, 1}, {DaemonWords::DELETED_FOR_CLEAR, 1}},
     Verdict::TWICE,
     1},
    {"one that is nowhere", {{DaemonWords::RECEIVED_ALL, 2}, {DaemonWords::MAILED, 1}}, Verdict::MISSING, -1},
    {"one from nowhere", {{DaemonWords::RECEIVED_ALL, 1}, {DaemonWords::MAILED, 2}}, Verdict::SURPLUS, 1},
};

TEST(Ledger, addsUpOrSaysWhatIsMissing) {
    for (const LedgerCase& one : LEDGERS) {
        const Ledger ledger = Ledger::of(factsWith(one.numbers));

        EXPECT_EQ(ledger.verdict(), one.verdict) << one.name;
        EXPECT_EQ(ledger.excess(), one.excess) << one.name;
        EXPECT_EQ(ledger.remarks.empty(), one.verdict == Verdict::EXACT) << one.name;
    }
}

TEST(Ledger, refusalsThatTheEventLogDoesNotHaveAreTold) {
    StatusFacts facts = factsWith({{DaemonWords::RECEIVED_ALL, 2}, {DaemonWords::NOT_ADDED, 2}});
    facts.log.refusals = {NOW - 7200 * SECOND, NOW - 60 * SECOND, NOW - 30 * SECOND};
    EXPECT_THAT(Ledger::of(facts).remarks, IsEmpty());  // The first was before the start.

    facts.log.refusals.pop_back();

    EXPECT_THAT(Ledger::of(facts).remarks,
                Contains(HasSubstr("the event log tells of 1 refusals since the start, orvApp counts 2")));
}

TEST(Ledger, whatTheDaemonDoesNotTellIsNotKnown) {
    StatusFacts facts = factsWith({});
    facts.probe->lists.erase(DaemonWords::EARLY);
    EXPECT_EQ(Ledger::of(facts).verdict(), Verdict::UNKNOWN);
    EXPECT_THAT(Ledger::of(facts).unknown, HasSubstr("another version"));

    facts.probe.reset();
    facts.noProbe = "its trace cannot be read";
    EXPECT_EQ(Ledger::of(facts).unknown, "its trace cannot be read");

    facts.components.clear();
    EXPECT_THAT(Ledger::of(facts).unknown, HasSubstr("orvApp does not run"));
}

}  // namespace
