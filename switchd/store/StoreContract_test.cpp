#include "testing/switchd/StoreContract.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> keysBelow(AttributeStore& store, std::string_view prefix) {
    std::vector<Attribute> found;
    EXPECT_EQ(store.list(prefix, found), 0);
    std::vector<std::string> keys;
    for (const Attribute& attribute : found) {
        keys.push_back(attribute.key);
    }
    return keys;
}

std::string valueOf(AttributeStore& store, std::string_view key) {
    Attribute attribute;
    return store.get(key, attribute) == StoreStatus::OK ? attribute.value : "<missing>";
}

LogEntry entryWithText(const std::string& text) {
    LogEntry entry;
    entry.seconds = 1700000000;
    entry.text = text;
    return entry;
}

std::vector<std::string> textsSince(EventLogStore& log, std::uint64_t id, std::size_t limit = 100) {
    std::vector<LogEntry> entries;
    EXPECT_EQ(log.readSince(id, limit, entries), 0);
    std::vector<std::string> texts;
    for (const LogEntry& entry : entries) {
        texts.push_back(entry.text);
    }
    return texts;
}

}  // namespace

TEST_P(StoreContract, givesBackWhatWasSetWithItsType) {
    ASSERT_EQ(attributes().set("Global.Callhome.SMTPPort", 2, "25"), 0);

    Attribute attribute;
    ASSERT_EQ(attributes().get("Global.Callhome.SMTPPort", attribute), StoreStatus::OK);

    EXPECT_EQ(attribute, (Attribute{"Global.Callhome.SMTPPort", 2, "25"}));
}

TEST_P(StoreContract, keepsTheWholeRangeOfTypes) {
    ASSERT_EQ(attributes().set("A", 0xFFFFFFFFu, "x"), 0);

    Attribute attribute;
    ASSERT_EQ(attributes().get("A", attribute), StoreStatus::OK);

    EXPECT_EQ(attribute.type, 0xFFFFFFFFu);
}

TEST_P(StoreContract, leavesTheOutputAloneWhenTheKeyIsMissing) {
    Attribute attribute{"before", 7, "untouched"};

    EXPECT_EQ(attributes().get("Nothing.Here", attribute), StoreStatus::MISSING);

    EXPECT_EQ(attribute, (Attribute{"before", 7, "untouched"}));
}

TEST_P(StoreContract, replacesAnEarlierValueAndItsType) {
    ASSERT_EQ(attributes().set("Key", 1, "first"), 0);
    ASSERT_EQ(attributes().set("Key", 2, "2"), 0);

    Attribute attribute;
    ASSERT_EQ(attributes().get("Key", attribute), StoreStatus::OK);

    EXPECT_EQ(attribute, (Attribute{"Key", 2, "2"}));
    EXPECT_THAT(keysBelow(attributes(), ""), ElementsAre("Key"));
}

TEST_P(StoreContract, keepsAnEmptyValueApartFromAMissingKey) {
    ASSERT_EQ(attributes().set("Empty", 1, ""), 0);

    EXPECT_EQ(valueOf(attributes(), "Empty"), "");
    EXPECT_EQ(valueOf(attributes(), "Emptier"), "<missing>");
}

TEST_P(StoreContract, keepsEveryByteOfAValue) {
    std::string value;
    for (int byte = 0; byte < 256; ++byte) {
        value.push_back(static_cast<char>(byte));
    }
    value += "\xC2\xA7ops@example.com\xC2\xA7\n";

    ASSERT_EQ(attributes().set("Bytes", 1, value), 0);

    EXPECT_EQ(valueOf(attributes(), "Bytes"), value);
}

TEST_P(StoreContract, takesTenMegabytesAndRefusesOneByteMore) {
    const std::string longest(AttributeStore::MAX_VALUE, 'v');
    ASSERT_EQ(attributes().set("Big", 1, longest), 0);

    EXPECT_EQ(attributes().set("Big", 1, longest + "v"), -1);

    EXPECT_EQ(attributes().reason(), "Big: value of 10485761 bytes is longer than 10485760");
    EXPECT_TRUE(valueOf(attributes(), "Big") == longest);
}

TEST_P(StoreContract, refusesKeysThatCouldNotBeShownAsALine) {
    const std::vector<std::string> bad{"",      std::string(256, 'k'),    "with blank", "with=sign", "line\nfeed",
                                       "tab\t", std::string("nul\0x", 5), "\x7F",       "\xC3\xA4"};
    for (const std::string& key : bad) {
        EXPECT_EQ(attributes().set(key, 1, "v"), -1) << key;
        EXPECT_FALSE(attributes().reason().empty());
    }
    EXPECT_THAT(keysBelow(attributes(), ""), IsEmpty());
}

TEST_P(StoreContract, takesTheLongestKey) {
    const std::string longest(AttributeStore::MAX_KEY, 'k');

    ASSERT_EQ(attributes().set(longest, 1, "v"), 0);

    EXPECT_EQ(valueOf(attributes(), longest), "v");
}

TEST_P(StoreContract, tellsKeysApartByCase) {
    ASSERT_EQ(attributes().set("Key", 1, "upper"), 0);
    ASSERT_EQ(attributes().set("key", 1, "lower"), 0);

    EXPECT_EQ(valueOf(attributes(), "Key"), "upper");
    EXPECT_EQ(valueOf(attributes(), "key"), "lower");
}

TEST_P(StoreContract, listsWhatBeginsWithThePrefixInByteOrder) {
    for (const char* key : {"B.2", "B.10", "A", "B", "b.1", "B.1", "C.1"}) {
        ASSERT_EQ(attributes().set(key, 1, key), 0);
    }

    EXPECT_THAT(keysBelow(attributes(), "B."), ElementsAre("B.1", "B.10", "B.2"));
    EXPECT_THAT(keysBelow(attributes(), ""), ElementsAre("A", "B", "B.1", "B.10", "B.2", "C.1", "b.1"));
    EXPECT_THAT(keysBelow(attributes(), "B.3"), IsEmpty());
}

TEST_P(StoreContract, takesNoCharacterOfAPrefixForAPattern) {
    ASSERT_EQ(attributes().set("A_x", 1, ""), 0);
    ASSERT_EQ(attributes().set("ABx", 1, ""), 0);

    EXPECT_THAT(keysBelow(attributes(), "A_"), ElementsAre("A_x"));
    EXPECT_THAT(keysBelow(attributes(), "A*"), IsEmpty());
    EXPECT_THAT(keysBelow(attributes(), "%"), IsEmpty());
}

TEST_P(StoreContract, tellsWhetherThereWasSomethingToUnset) {
    ASSERT_EQ(attributes().set("Key", 1, "v"), 0);

    EXPECT_EQ(attributes().unset("Key"), StoreStatus::OK);
    EXPECT_EQ(attributes().unset("Key"), StoreStatus::MISSING);

    EXPECT_EQ(valueOf(attributes(), "Key"), "<missing>");
}

TEST_P(StoreContract, changesSeveralAttributesInOneStep) {
    ASSERT_EQ(attributes().set("Old", 1, "v"), 0);
    AttributeChange change;
    change.set = {{"New.1", 1, "a"}, {"New.2", 1, "b"}, {"New.1", 1, "last wins"}};
    change.unset = {"Old", "Never.Was", "New.2"};

    ASSERT_EQ(attributes().apply(change), 0);

    EXPECT_THAT(keysBelow(attributes(), ""), ElementsAre("New.1", "New.2"));
    EXPECT_EQ(valueOf(attributes(), "New.1"), "last wins");
}

TEST_P(StoreContract, changesNothingWhenOneOfSeveralIsRefused) {
    ASSERT_EQ(attributes().set("Old", 1, "v"), 0);
    AttributeChange change;
    change.set = {{"New", 1, "a"}, {"not a key", 1, "b"}};
    change.unset = {"Old"};

    EXPECT_EQ(attributes().apply(change), -1);

    EXPECT_THAT(attributes().reason(), HasSubstr("printable"));
    EXPECT_THAT(keysBelow(attributes(), ""), ElementsAre("Old"));
}

TEST_P(StoreContract, numbersLogEntriesFromOne) {
    LogEntry first = entryWithText("first");
    LogEntry second = entryWithText("second");
    second.id = 77;

    ASSERT_EQ(log().append(first), 0);
    ASSERT_EQ(log().append(second), 0);

    EXPECT_EQ(first.id, 1u);
    EXPECT_EQ(second.id, 2u);
}

TEST_P(StoreContract, givesBackEveryFieldOfALogEntry) {
    LogEntry entry;
    entry.seconds = 4294967296;
    entry.microseconds = 999999;
    entry.level = -1;
    entry.number = 0x8B00000Eu;
    entry.flags = 0xFFFFFFFFu;
    entry.component = "OrvApp";
    entry.text = std::string("100% \0 of it\n", 13);
    ASSERT_EQ(log().append(entry), 0);

    std::vector<LogEntry> entries;
    ASSERT_EQ(log().readSince(0, 10, entries), 0);

    EXPECT_THAT(entries, ElementsAre(entry));
}

TEST_P(StoreContract, readsTheLogOnwardsFromAnId) {
    for (const char* text : {"one", "two", "three"}) {
        LogEntry entry = entryWithText(text);
        ASSERT_EQ(log().append(entry), 0);
    }

    EXPECT_THAT(textsSince(log(), 0), ElementsAre("one", "two", "three"));
    EXPECT_THAT(textsSince(log(), 1), ElementsAre("two", "three"));
    EXPECT_THAT(textsSince(log(), 3), IsEmpty());
    EXPECT_THAT(textsSince(log(), UINT64_MAX), IsEmpty());
    EXPECT_THAT(textsSince(log(), 0, 2), ElementsAre("one", "two"));
    EXPECT_THAT(textsSince(log(), 0, 0), IsEmpty());
}

std::string selected(EventLogStore& log, const LogSelection& selection, std::size_t limit = 100) {
    std::vector<LogEntry> entries;
    EXPECT_EQ(log.read(selection, limit, entries), 0);
    std::string texts;
    for (const LogEntry& entry : entries) {
        texts += entry.text + " ";
    }
    return texts;
}

void appendSome(EventLogStore& log) {
    for (LogEntry entry : {LogEntry{0, 0, 0, 3, 1, 0, "OrvApp", "alpha"}, LogEntry{0, 0, 0, 17, 1, 0, "OrvApp", "beta"},
                           LogEntry{0, 0, 0, 3, 2, 0, "", "alarm"}, LogEntry{0, 0, 0, 31, 2, 0, "orvAppX", ""}}) {
        ASSERT_EQ(log.append(entry), 0);
    }
}

TEST_P(StoreContract, readsTheLogFromEitherEndBetweenTwoNumbers) {
    appendSome(log());
    LogSelection selection;
    EXPECT_EQ(selected(log(), selection), "alpha beta alarm  ");
    EXPECT_EQ(selected(log(), selection, 2), "alpha beta ");
    selection.newestFirst = true;
    EXPECT_EQ(selected(log(), selection), " alarm beta alpha ");
    selection.before = 4;
    EXPECT_EQ(selected(log(), selection, 2), "alarm beta ");
    selection.after = 1;
    EXPECT_EQ(selected(log(), selection), "alarm beta ");
    selection.after = UINT64_MAX;
    EXPECT_EQ(selected(log(), selection), "");
}

TEST_P(StoreContract, leavesOutOtherLevelsComponentsAndKinds) {
    appendSome(log());
    LogSelection selection;
    selection.maxLevel = 17;
    EXPECT_EQ(selected(log(), selection), "alpha beta alarm ");
    selection.component = "orvapp";
    EXPECT_EQ(selected(log(), selection), "alpha beta ");
    selection.kinds = {{1, "bet"}, {2, ""}};
    EXPECT_EQ(selected(log(), selection), "beta ");
    selection.component = "";
    EXPECT_EQ(selected(log(), selection, 1), "beta ");
    EXPECT_EQ(selected(log(), selection), "beta alarm ");
    selection.kinds = {{2, "alpha"}};
    EXPECT_EQ(selected(log(), selection), "");
}

// "text@microseconds " for each entry, behind the number of texts.
std::string series(EventLogStore& log, const LogSelection& selection, std::size_t bytes = 1000000) {
    LogSeries found;
    EXPECT_EQ(log.readSeries(selection, bytes, found), 0);
    std::string texts = std::to_string(found.texts.size()) + ": ";
    for (const LogSeries::Entry& entry : found.entries) {
        texts += found.texts.at(entry.what).text + "@" + std::to_string(entry.time) + " ";
    }
    return texts + std::to_string(found.last) + (found.more ? " more" : "");
}

LogEntry failureAt(std::int64_t seconds, const std::string& text) {
    return LogEntry{0, seconds, 5, 3, 9, 0, "orvApp", text};
}

TEST_P(StoreContract, tellsASeriesWithEachTextOnce) {
    for (LogEntry entry :
         {failureAt(1, "failed"), failureAt(2, "tried"), failureAt(3, "failed"), failureAt(4, "failed")}) {
        ASSERT_EQ(log().append(entry), 0);
    }
    LogSelection selection;
    EXPECT_EQ(series(log(), selection), "2: failed@1000005 tried@2000005 failed@3000005 failed@4000005 4");
    selection.after = 1;
    selection.before = 4;
    EXPECT_EQ(series(log(), selection), "2: tried@2000005 failed@3000005 3");
    selection.kinds = {{9, "trie"}};
    EXPECT_EQ(series(log(), selection), "1: tried@2000005 2");
    selection.kinds = {{8, ""}};
    EXPECT_EQ(series(log(), selection), "0: 0");
}

TEST_P(StoreContract, endsASeriesWhereItsTextsAreTooLong) {
    for (LogEntry entry : {failureAt(1, "four"), failureAt(2, "five5"), failureAt(3, "four")}) {
        ASSERT_EQ(log().append(entry), 0);
    }
    LogSelection selection;
    EXPECT_EQ(series(log(), selection, 8), "1: four@1000005 1 more");
    selection.after = 1;
    EXPECT_EQ(series(log(), selection, 0), "1: five5@2000005 2 more");
    EXPECT_EQ(series(log(), selection, 9), "2: five5@2000005 four@3000005 3");
}

TEST_P(StoreContract, tellsApartWhatDiffersAnywhere) {
    const std::string start(200, 's');
    LogEntry one = failureAt(1, start + "1");
    for (LogEntry entry : {one, failureAt(1, start + "2"), LogEntry{0, 1, 5, 2, 9, 0, "orvApp", one.text},
                           LogEntry{0, 1, 5, 3, 8, 0, "orvApp", one.text}}) {
        ASSERT_EQ(log().append(entry), 0);
    }
    LogSeries found;
    ASSERT_EQ(log().readSeries({}, 10000, found), 0);
    EXPECT_EQ(found.texts.size(), 4u);
    LogSelection selection;
    selection.kinds = {{9, start + "1"}};
    ASSERT_EQ(log().readSeries(selection, 10000, found), 0);
    EXPECT_EQ(found.texts.size(), 2u);
    selection.kinds = {{9, start + "1 and more"}};
    ASSERT_EQ(log().readSeries(selection, 10000, found), 0);
    EXPECT_EQ(found.texts.size(), 0u);
}

// The log has room for four entries.
TEST_P(StoreContract, forgetsInASeriesWhatWasDropped) {
    for (int number = 0; number < 20; ++number) {
        LogEntry entry = failureAt(number, std::to_string(number % 6));
        ASSERT_EQ(log().append(entry), 0);
        LogSelection selection;
        LogSeries found;
        ASSERT_EQ(log().readSeries(selection, 1000, found), 0);
        std::vector<LogEntry> entries;
        ASSERT_EQ(log().read(selection, 100, entries), 0);
        ASSERT_EQ(found.entries.size(), entries.size());
        for (std::size_t i = 0; i < entries.size(); ++i) {
            EXPECT_EQ(found.texts.at(found.entries[i].what).text, entries[i].text);
            EXPECT_EQ(found.entries[i].time, microsecondsOf(entries[i]));
        }
    }
}

TEST_P(StoreContract, dropsTheOldestEntriesOfAFullLogAndCountsOn) {
    for (int number = 1; number <= 6; ++number) {
        LogEntry entry = entryWithText(std::to_string(number));
        ASSERT_EQ(log().append(entry), 0);
        EXPECT_EQ(entry.id, static_cast<std::uint64_t>(number));
    }

    EXPECT_THAT(textsSince(log(), 0), ElementsAre("3", "4", "5", "6"));
}
