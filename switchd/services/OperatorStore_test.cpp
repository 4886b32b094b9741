#include "MessageCodes.h"
#include "Sw_Log_Type.h"
#include "platform/wire/EnsWire.h"
#include "testing/OperatorSession.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

class OperatorStoreTest : public ::testing::Test {
protected:
    std::vector<std::string> keysOf(const AttributePage& page) {
        std::vector<std::string> keys;
        for (const Attribute& attribute : page.attributes) {
            keys.push_back(attribute.key);
        }
        return keys;
    }
    AttributePage list(const std::string& prefix, const std::string& after = "") {
        return decodeFields<AttributePage>(operator_.answerTo(OperatorCode::LIST, ListRequest{prefix, after}).body)
            .value();
    }
    // "id text" of each line in a page.
    static std::vector<std::string> lines(const WireBytes& body) {
        std::vector<std::string> result;
        const auto page = decodeFields<LogPage>(body);
        EXPECT_TRUE(page.has_value());
        for (const LogEntry& entry : page->entries) {
            result.push_back(std::to_string(entry.id) + " " + entry.text);
        }
        return result;
    }
    void log(const std::string& text) { sw_.publishLog(2, 1, text); }

    LoopbackSwitch sw_;
    OperatorSession operator_{sw_};
    OperatorSession other_{sw_};
};

}  // namespace

TEST_F(OperatorStoreTest, getsAttributesInTheOrderAskedFor) {
    const OperatorAnswer answer = operator_.answerTo(
        OperatorCode::GET, KeyList{{"Global.Callhome.SMTPPort", "No.Such", "Config.Switch.AdminState"}});

    using Answer = AttributeAnswers::Answer;
    EXPECT_EQ(answer.status, OperatorStatus::OK);
    EXPECT_THAT(decodeFields<AttributeAnswers>(answer.body)->answers,
                ElementsAre(Answer{true, {"Global.Callhome.SMTPPort", 2, "25"}}, Answer{false, {"No.Such", 1, ""}},
                            Answer{true, {"Config.Switch.AdminState", 1, "Online"}}));
}

TEST_F(OperatorStoreTest, refusesToGetMoreThanOneAnswerHolds) {
    sw_.set("Big", std::string(AttributeStore::MAX_VALUE, 'x'));

    const OperatorAnswer answer = operator_.answerTo(OperatorCode::GET, KeyList{std::vector<std::string>(3, "Big")});

    EXPECT_EQ(answer.status, OperatorStatus::REFUSED);
    EXPECT_EQ(answer.reason, "the values are too long for one answer");
}

TEST_F(OperatorStoreTest, listsWhatBeginsWithAPrefix) {
    sw_.set("List.2", "b");
    sw_.set("List.1", "a");
    sw_.set("Lost", "c");

    const AttributePage page = list("List.");

    EXPECT_THAT(page.attributes, ElementsAre(Attribute{"List.1", 1, "a"}, Attribute{"List.2", 1, "b"}));
    EXPECT_FALSE(page.more);
}

TEST_F(OperatorStoreTest, listsInPagesThatHoldAtLeastOneAttribute) {
    const std::string big(OperatorService::PAGE_BYTES + 1, 'x');
    sw_.set("P.1", big);
    sw_.set("P.2", "small");
    sw_.set("P.3", "small");
    sw_.set("P.4", big);

    const AttributePage first = list("P.");
    EXPECT_THAT(keysOf(first), ElementsAre("P.1"));
    EXPECT_TRUE(first.more);
    const AttributePage second = list("P.", "P.1");
    EXPECT_THAT(keysOf(second), ElementsAre("P.2", "P.3"));
    EXPECT_TRUE(second.more);
    const AttributePage third = list("P.", "P.3");
    EXPECT_THAT(keysOf(third), ElementsAre("P.4"));
    EXPECT_FALSE(third.more);
    EXPECT_THAT(keysOf(list("P.", "P.4")), IsEmpty());
}

TEST_F(OperatorStoreTest, changesAttributesInOneStepAndNamesWhatWasNotThere) {
    sw_.set("Old", "x");

    const OperatorAnswer answer = operator_.answerTo(
        OperatorCode::CHANGE, ChangeRequest{{{"New", 2, "1"}, {"Text", 1, "t"}}, {"Old", "Never.Was"}});

    EXPECT_EQ(answer.status, OperatorStatus::OK);
    EXPECT_THAT(decodeFields<KeyList>(answer.body)->keys, ElementsAre("Never.Was"));
    EXPECT_EQ(sw_.attribute("New"), "1");
    EXPECT_EQ(sw_.attribute("Text"), "t");
    EXPECT_EQ(sw_.attribute("Old"), std::nullopt);
}

TEST_F(OperatorStoreTest, changesNothingWhenOneKeyIsBad) {
    const OperatorAnswer answer =
        operator_.answerTo(OperatorCode::CHANGE, ChangeRequest{{{"New", 1, "1"}, {"a b", 1, "t"}}, {}});

    EXPECT_EQ(answer.status, OperatorStatus::FAILED);
    EXPECT_EQ(answer.reason, "an attribute name must consist of printable characters without blanks and '='");
    EXPECT_THAT(answer.body, IsEmpty());
    EXPECT_EQ(sw_.attribute("New"), std::nullopt);
}

TEST_F(OperatorStoreTest, publishesEventsOfEveryKind) {
    BusParty subscriber(sw_.bus());
    for (const auto& [category, event] : {std::pair{1u, 0u}, {66u, 3u}, {2u, 56u}, {90u, 0u}, {7u, 8u}}) {
        subscriber.send(ServiceAddress::EVENTS, MessageFormat::ENS, EnsCode::SUBSCRIBE,
                        encodeFields(EnsRequest{category, event}));
    }
    sw_.pump();
    subscriber.take();
    LogRecord record;
    record.record.text = "a fan has failed";
    const WireBytes data{1, 2, 3};

    EXPECT_EQ(operator_.answerTo(OperatorCode::PUBLISH_LOG, record).status, OperatorStatus::OK);
    EXPECT_EQ(operator_.answerTo(OperatorCode::PUBLISH_STATE, OneText{"Offline"}).status, OperatorStatus::OK);
    EXPECT_EQ(operator_.answerTo(OperatorCode::PUBLISH_ADDRESSES, KeyList{{"10.0.0.1"}}).status, OperatorStatus::OK);
    EXPECT_EQ(operator_.answerTo(OperatorCode::PUBLISH_HOSTNAME, OneText{"3-sw"}).status, OperatorStatus::OK);
    EXPECT_EQ(operator_.answerTo(OperatorCode::PUBLISH_EVENT, RawEvent{7, 8, data}).status, OperatorStatus::OK);

    std::vector<std::pair<std::uint32_t, std::uint32_t>> events;
    for (const Hsb_Message& message : subscriber.messages()) {
        const auto event = decodeFields<EnsEventData>(message.payload());
        events.emplace_back(event->category, event->number);
    }
    using Event = std::pair<std::uint32_t, std::uint32_t>;
    EXPECT_THAT(events, ElementsAre(Event{1, 0}, Event{66, 3}, Event{2, 56}, Event{90, 0}, Event{7, 8}));
    EXPECT_EQ(sw_.attribute("Config.Switch.AdminState"), "Offline");
    EXPECT_THAT(sw_.eventLog(), ElementsAre(LogLine{0, 0, "a fan has failed"}));
}

TEST_F(OperatorStoreTest, saysWhatIsWrongWithAnAddress) {
    const OperatorAnswer answer = operator_.answerTo(OperatorCode::PUBLISH_ADDRESSES, KeyList{{"10.0.0.300"}});

    EXPECT_EQ(answer.status, OperatorStatus::FAILED);
    EXPECT_EQ(answer.reason, "'10.0.0.300' is neither an IPv4 nor an IPv6 address");
}

TEST_F(OperatorStoreTest, readsTheLogSinceAnId) {
    log("one");
    log("two");
    log("three");

    EXPECT_THAT(lines(operator_.answerTo(OperatorCode::READ_LOG, LogRequest{1, 0}).body),
                ElementsAre("2 two", "3 three"));
    const OperatorAnswer limited = operator_.answerTo(OperatorCode::READ_LOG, LogRequest{0, 2});
    EXPECT_THAT(lines(limited.body), ElementsAre("1 one", "2 two"));
    EXPECT_TRUE(decodeFields<LogPage>(limited.body)->more);
    const OperatorAnswer rest = operator_.answerTo(OperatorCode::READ_LOG, LogRequest{2, 1});
    EXPECT_THAT(lines(rest.body), ElementsAre("3 three"));
    EXPECT_FALSE(decodeFields<LogPage>(rest.body)->more);
}

TEST_F(OperatorStoreTest, leavesOutLevelsAboveTheOneAskedFor) {
    // Between two entries that are asked for there are more others than one page holds.
    for (std::size_t number = 0; number <= OperatorService::PAGE_ENTRIES + 3; ++number) {
        LogEntry entry;
        entry.level = number == 0 || number >= OperatorService::PAGE_ENTRIES + 2 ? 3 : 15;
        ASSERT_EQ(sw_.store().append(entry), 0);
    }
    const auto ids = [this](const LogRequest& request) {
        const auto page = decodeFields<LogPage>(operator_.answerTo(OperatorCode::READ_LOG, request).body);
        std::vector<std::uint64_t> result = {page->more ? 1u : 0u};
        for (const LogEntry& entry : page->entries) {
            result.push_back(entry.id);
        }
        return result;
    };
    const std::uint64_t second = OperatorService::PAGE_ENTRIES + 3;

    EXPECT_THAT(ids({0, 0, 3}), ElementsAre(0, 1, second, second + 1));
    EXPECT_THAT(ids({0, 2, 3}), ElementsAre(1, 1, second));
    EXPECT_THAT(ids({second, 2, 3}), ElementsAre(0, second + 1));
    EXPECT_THAT(ids({0, 0, 2}), ElementsAre(0));
}

TEST_F(OperatorStoreTest, readsALongLogInPages) {
    for (std::size_t number = 0; number <= OperatorService::PAGE_ENTRIES; ++number) {
        log("x");
    }

    const auto first = decodeFields<LogPage>(operator_.answerTo(OperatorCode::READ_LOG, LogRequest{0, 0}).body);
    const auto all = decodeFields<LogPage>(operator_.answerTo(OperatorCode::READ_LOG, LogRequest{0, 0xFFFFFFFFu}).body);

    EXPECT_THAT(first->entries, SizeIs(OperatorService::PAGE_ENTRIES));
    EXPECT_TRUE(first->more);
    EXPECT_THAT(all->entries, SizeIs(OperatorService::PAGE_ENTRIES));
}

TEST_F(OperatorStoreTest, cutsPagesOfLongLinesByTheirBytes) {
    const std::string longText(OperatorService::PAGE_BYTES * 2 / 3, 'x');
    for (int number = 0; number < 2; ++number) {
        LogEntry entry;
        entry.text = longText;
        ASSERT_EQ(sw_.store().append(entry), 0);
    }

    const auto page = decodeFields<LogPage>(operator_.answerTo(OperatorCode::READ_LOG, LogRequest{0, 0}).body);

    EXPECT_THAT(page->entries, SizeIs(1));
    EXPECT_TRUE(page->more);
}

TEST_F(OperatorStoreTest, searchesALongLogFromItsEndInPages) {
    for (std::size_t count = 0; count < OperatorService::SEARCH_ENTRIES + 2; ++count) {
        LogEntry entry;
        entry.number = count % 2 == 0 ? 1 : 2;
        entry.text = std::to_string(count);
        ASSERT_EQ(sw_.store().append(entry), 0);
    }
    LogSearch search;
    search.selection.newestFirst = true;
    const auto ask = [&] { return decodeFields<LogPage>(operator_.answerTo(OperatorCode::SEARCH_LOG, search).body); };

    const auto whole = ask();
    ASSERT_EQ(whole->entries.size(), OperatorService::SEARCH_ENTRIES);
    EXPECT_TRUE(whole->more);
    search.selection.before = whole->entries.back().id;
    const auto rest = ask();
    EXPECT_EQ(lines(encodeFields(*rest)), (std::vector<std::string>{"2 1", "1 0"}));
    EXPECT_FALSE(rest->more);
    search.selection.kinds = {{2, ""}};
    EXPECT_EQ(lines(encodeFields(*ask())), (std::vector<std::string>{"2 1"}));
    search = LogSearch();
    search.limit = 1;
    EXPECT_EQ(lines(encodeFields(*ask())), (std::vector<std::string>{"1 0"}));
}

TEST_F(OperatorStoreTest, tellsWhatALogSaysOnceInParts) {
    const std::string longText(OperatorService::SERIES_BYTES * 2 / 3, 'x');
    for (const std::string& text : {longText, "short" + std::string(), longText, longText + "y", longText}) {
        LogEntry entry;
        entry.text = text;
        ASSERT_EQ(sw_.store().append(entry), 0);
    }
    SeriesRequest request;
    const auto ask = [&] {
        return decodeFields<SeriesAnswer>(operator_.answerTo(OperatorCode::LOG_SERIES, encodeFields(request)).body);
    };

    const auto first = ask();
    request.selection.after = first->series.last;
    const auto rest = ask();

    EXPECT_THAT(first->series.texts, SizeIs(2));
    EXPECT_EQ(first->series.last, 3u);
    EXPECT_TRUE(first->series.more);
    EXPECT_THAT(rest->series.texts, SizeIs(1));
    EXPECT_EQ(rest->series.last, 4u);
}

TEST_F(OperatorStoreTest, followsTheLogFromAnIdOnAsLinesCome) {
    log("one");
    log("two");
    const std::uint32_t tag = operator_.ask(OperatorCode::FOLLOW_LOG, LogRequest{1, 0});
    log("three");
    log("four");

    const std::vector<OperatorAnswer> got = operator_.answers();

    ASSERT_THAT(got, SizeIs(4));
    EXPECT_EQ(got[0],
              (OperatorAnswer{OperatorCode::replyTo(OperatorCode::FOLLOW_LOG), tag, OperatorStatus::OK, "", {}}));
    const std::vector<std::string> expected{"2 two", "3 three", "4 four"};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(got[i + 1].code, OperatorCode::LOG_LINES);
        EXPECT_EQ(got[i + 1].tag, tag);
        EXPECT_THAT(lines(got[i + 1].body), ElementsAre(expected[i]));
    }
}

TEST_F(OperatorStoreTest, followsALongLogPageByPage) {
    const std::size_t count = OperatorService::PAGE_ENTRIES + 3;
    for (std::size_t number = 0; number < count; ++number) {
        log("x");
    }
    operator_.ask(OperatorCode::FOLLOW_LOG, LogRequest{0, 0});

    const std::vector<OperatorAnswer> got = operator_.answers();

    ASSERT_THAT(got, SizeIs(3));
    EXPECT_THAT(lines(got[1].body), SizeIs(OperatorService::PAGE_ENTRIES));
    EXPECT_THAT(lines(got[2].body), SizeIs(3));
}

TEST_F(OperatorStoreTest, stopsFollowingWhenAskedOrWhenTheFollowerLeaves) {
    const std::uint32_t tag = operator_.ask(OperatorCode::FOLLOW_LOG, LogRequest{0, 0});
    other_.ask(OperatorCode::FOLLOW_LOG, LogRequest{0, 0});
    operator_.answers();
    EXPECT_EQ(operator_.answerTo(OperatorCode::STOP, OneTag{tag}).status, OperatorStatus::OK);
    other_.party().leave();
    sw_.pump();
    unsigned pushes = 0;
    sw_.bus().observe([&](const Hsb_Message& message) { pushes += message.code() == OperatorCode::LOG_LINES; });

    log("unheard");

    EXPECT_EQ(pushes, 0u);
}

TEST_F(OperatorStoreTest, stopsOnlyTheCallersOwnStream) {
    const std::uint32_t tag = operator_.ask(OperatorCode::FOLLOW_LOG, LogRequest{0, 0});
    operator_.answers();

    const OperatorAnswer answer = other_.answerTo(OperatorCode::STOP, OneTag{tag});
    EXPECT_EQ(answer.status, OperatorStatus::REFUSED);
    EXPECT_EQ(answer.reason, "nothing to stop under this tag");
    log("heard");

    EXPECT_THAT(operator_.answers(), SizeIs(1));
}
