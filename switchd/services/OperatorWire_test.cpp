#include "switchd/services/OperatorWire.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

WireBytes bytes(std::initializer_list<int> values) {
    WireBytes result;
    for (const int value : values) {
        result.push_back(static_cast<std::uint8_t>(value));
    }
    return result;
}

const WireBytes TAIL = bytes({1, 2, 0, 255});

// A body as a row of words, each in hex or a text between apostrophes: "00000002 'Hi'".
WireBytes spelt(const std::string& words) {
    WireBytes result;
    std::istringstream in(words);
    for (std::string word; in >> word;) {
        if (word.front() == '\'') {
            result.insert(result.end(), word.begin() + 1, word.end() - 1);
            continue;
        }
        for (std::size_t at = 0; at < word.size(); at += 2) {
            result.push_back(static_cast<std::uint8_t>(std::stoul(word.substr(at, 2), nullptr, 16)));
        }
    }
    return result;
}

// Every proper prefix of a body is refused, and so is one byte more.
template <typename Message>
void isReadOnlyWhole(const WireBytes& body) {
    for (std::size_t length = 0; length < body.size(); ++length) {
        EXPECT_FALSE(decodeFields<Message>(WireSpan(body).first(length)).has_value()) << length;
    }
    WireBytes longer = body;
    longer.push_back(0);
    EXPECT_FALSE(decodeFields<Message>(longer).has_value());
    EXPECT_TRUE(decodeFields<Message>(body).has_value());
}

}  // namespace

TEST(OperatorWire, answersEachCodeWithItsReplyCode) {
    EXPECT_EQ(OperatorCode::FORMAT, 0x7F01);
    EXPECT_EQ(OperatorCode::replyTo(OperatorCode::GET), 0x101);
    EXPECT_EQ(OperatorCode::replyTo(OperatorCode::RELEASE_HELD), 0x136);
}

TEST(OperatorWire, putsTheTagBeforeTheBody) {
    const OperatorRequest request{0x01020304, TAIL};

    EXPECT_EQ(encodeFields(request), bytes({1, 2, 3, 4, 1, 2, 0, 255}));

    const WireBytes payload = encodeFields(request);
    const auto read = decodeFields<OperatorRequest>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tag, 0x01020304u);
    EXPECT_THAT(read->body, ElementsAre(1, 2, 0, 255));
    EXPECT_FALSE(decodeFields<OperatorRequest>(bytes({1, 2, 3})).has_value());
}

TEST(OperatorWire, putsStatusAndReasonBeforeTheBodyOfAReply) {
    const OperatorReply reply{1, OperatorStatus::NO_COMPONENT, "no", TAIL};

    EXPECT_EQ(encodeFields(reply), bytes({0, 0, 0, 1, 0, 0, 0, 3, 0, 0, 0, 2, 'n', 'o', 1, 2, 0, 255}));

    const WireBytes payload = encodeFields(reply);
    const auto read = decodeFields<OperatorReply>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tag, 1u);
    EXPECT_EQ(read->status, OperatorStatus::NO_COMPONENT);
    EXPECT_EQ(read->reason, "no");
    EXPECT_THAT(read->body, ElementsAre(1, 2, 0, 255));
    EXPECT_FALSE(decodeFields<OperatorReply>(WireSpan(payload).first(13)).has_value());
}

TEST(OperatorWire, readsBackTextsNumbersAndKeyLists) {
    EXPECT_EQ(encodeFields(OneText{"Hi"}), bytes({0, 0, 0, 2, 'H', 'i'}));
    EXPECT_EQ(decodeFields<OneText>(encodeFields(OneText{std::string("a\0b", 3)}))->text, std::string("a\0b", 3));
    EXPECT_EQ(decodeFields<OneTag>(encodeFields(OneTag{0xFFFFFFFFu}))->number, 0xFFFFFFFFu);
    EXPECT_EQ((encodeFields(KeyList{{"A", ""}})), bytes({0, 0, 0, 2, 0, 0, 0, 1, 'A', 0, 0, 0, 0}));
    EXPECT_THAT(decodeFields<KeyList>(encodeFields(KeyList{{"A", "", "C"}}))->keys, ElementsAre("A", "", "C"));
    isReadOnlyWhole<OneText>(encodeFields(OneText{"text"}));
    isReadOnlyWhole<OneTag>(encodeFields(OneTag{1}));
    isReadOnlyWhole<KeyList>(encodeFields(KeyList{{"A", "BC"}}));
}

TEST(OperatorWire, refusesACountThatItsItemsDoNotBearOut) {
    EXPECT_FALSE(decodeFields<KeyList>(bytes({255, 255, 255, 255})).has_value());
    EXPECT_FALSE(decodeFields<FaultList>(bytes({255, 255, 255, 255, 0, 0, 0, 1})).has_value());
}

TEST(OperatorWire, readsBackAttributes) {
    const Attribute first{"Key", 2, "25"};
    const Attribute second{"Empty", 1, ""};
    const AttributeAnswers answers{{{true, first}, {false, second}}};
    const AttributePage page{{first, second}, true};
    const ChangeRequest change{{first}, {"Old"}};

    EXPECT_EQ(decodeFields<AttributeAnswers>(encodeFields(answers))->answers, answers.answers);
    EXPECT_EQ(decodeFields<AttributePage>(encodeFields(page))->attributes, page.attributes);
    EXPECT_TRUE(decodeFields<AttributePage>(encodeFields(page))->more);
    EXPECT_FALSE(decodeFields<AttributePage>(encodeFields(AttributePage()))->more);
    EXPECT_THAT(decodeFields<ChangeRequest>(encodeFields(change))->set, ElementsAre(first));
    EXPECT_THAT(decodeFields<ChangeRequest>(encodeFields(change))->unset, ElementsAre("Old"));
    EXPECT_EQ(encodeFields(change), bytes({0, 0, 0, 1, 0, 0, 0, 3, 'K', 'e', 'y', 0, 0, 0, 2, 0, 0, 0, 2, '2', '5',  //
                                           0, 0, 0, 1, 0, 0, 0, 3, 'O', 'l', 'd'}));
    isReadOnlyWhole<AttributeAnswers>(encodeFields(answers));
    isReadOnlyWhole<AttributePage>(encodeFields(page));
    isReadOnlyWhole<ChangeRequest>(encodeFields(change));
}

TEST(OperatorWire, readsBackListRequests) {
    const auto read = decodeFields<ListRequest>(encodeFields(ListRequest{"Global.", "Global.X"}));

    EXPECT_EQ(read->prefix, "Global.");
    EXPECT_EQ(read->after, "Global.X");
    isReadOnlyWhole<ListRequest>(encodeFields(ListRequest{"P", "A"}));
}

TEST(OperatorWire, readsBackLogRecords) {
    LogRecord record;
    record.timed = true;
    record.record.kind = 3;
    record.record.number = 0x12340001;
    record.record.text = "a fan has failed";

    const auto read = decodeFields<LogRecord>(encodeFields(record));

    ASSERT_TRUE(read);
    EXPECT_TRUE(read->timed);
    EXPECT_EQ(read->record.encode(), record.record.encode());
    EXPECT_EQ(encodeFields(record).size(), 4u + 312u);
    isReadOnlyWhole<LogRecord>(encodeFields(record));
}

TEST(OperatorWire, readsBackEventsWithAnyData) {
    const WireBytes body = encodeFields(RawEvent{66, 3, TAIL});
    const auto read = decodeFields<RawEvent>(body);

    EXPECT_EQ(body, bytes({0, 0, 0, 66, 0, 0, 0, 3, 1, 2, 0, 255}));
    EXPECT_EQ(read->category, 66u);
    EXPECT_EQ(read->number, 3u);
    EXPECT_THAT(read->data, ElementsAre(1, 2, 0, 255));
    EXPECT_FALSE(decodeFields<RawEvent>(WireSpan(body).first(7)).has_value());
}

TEST(OperatorWire, readsBackLogPagesWithSixtyFourBitNumbers) {
    const LogEntry entry{0x100000002, -1, 999999, -3, 0x8B000001u, 4096, "OrvApp", "text"};
    const LogPage page{{entry, LogEntry()}, true};

    const auto read = decodeFields<LogPage>(encodeFields(page));

    ASSERT_TRUE(read);
    EXPECT_EQ(read->entries, page.entries);
    EXPECT_TRUE(read->more);
    isReadOnlyWhole<LogPage>(encodeFields(page));
    EXPECT_EQ((encodeFields(LogRequest{0x0102030405060708, 9, 3})),
              bytes({1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 9, 0, 0, 0, 3}));
    EXPECT_EQ(decodeFields<LogRequest>(encodeFields(LogRequest{1, 9}))->maxLevel, INT32_MAX);
    EXPECT_EQ(decodeFields<LogRequest>(encodeFields(LogRequest{0x0102030405060708, 9}))->since, 0x0102030405060708u);
    EXPECT_EQ(decodeFields<LogRequest>(encodeFields(LogRequest{1, 9}))->limit, 9u);
    isReadOnlyWhole<LogRequest>(encodeFields(LogRequest{1, 9}));
}

TEST(OperatorWire, readsBackASearchOfTheLog) {
    const LogSearch search{{1, 2, -3, "orvApp", {{0x8B000001u, "text"}, {9, ""}}, true}, 7};

    const auto read = decodeFields<LogSearch>(encodeFields(search));

    ASSERT_TRUE(read);
    EXPECT_EQ(read->selection.after, 1u);
    EXPECT_EQ(read->selection.before, 2u);
    EXPECT_EQ(read->selection.maxLevel, -3);
    EXPECT_EQ(read->selection.component, "orvApp");
    EXPECT_EQ(read->selection.kinds, search.selection.kinds);
    EXPECT_TRUE(read->selection.newestFirst);
    EXPECT_EQ(read->limit, 7u);
    isReadOnlyWhole<LogSearch>(encodeFields(search));
}

TEST(OperatorWire, readsBackASeriesOfTheLog) {
    SeriesRequest request;
    request.selection = {1, 2, -3, "orvApp", {{9, "text"}}, false};
    SeriesAnswer answer;
    answer.series = {{{0, 0, 0, 3, 4, 5, "orvApp", "text"}}, {{0, 1000001}, {0, -7}}, 77, true};

    const auto readRequest = decodeFields<SeriesRequest>(encodeFields(request));
    const auto read = decodeFields<SeriesAnswer>(encodeFields(answer));

    ASSERT_TRUE(readRequest && read);
    EXPECT_EQ(readRequest->selection.after, 1u);
    EXPECT_EQ(readRequest->selection.before, 2u);
    EXPECT_EQ(readRequest->selection.maxLevel, -3);
    EXPECT_EQ(readRequest->selection.kinds, request.selection.kinds);
    EXPECT_EQ(read->series.texts, answer.series.texts);
    EXPECT_EQ(read->series.entries, answer.series.entries);
    EXPECT_EQ(read->series.last, 77u);
    EXPECT_TRUE(read->series.more);
    isReadOnlyWhole<SeriesRequest>(encodeFields(request));
    isReadOnlyWhole<SeriesAnswer>(encodeFields(answer));

    answer.series.entries.push_back({1, 0});
    EXPECT_FALSE(decodeFields<SeriesAnswer>(encodeFields(answer))) << "an entry without a text";
}

TEST(OperatorWire, readsBackComponentsAndWaits) {
    const ComponentList list{{{"OrvApp", ComponentState::CONFIGURED, 1, 77}}};
    const auto wait = decodeFields<WaitRequest>(encodeFields(WaitRequest{"orvApp", ComponentState::READY}));

    EXPECT_EQ(decodeFields<ComponentList>(encodeFields(list))->components, list.components);
    EXPECT_EQ(wait->component, "orvApp");
    EXPECT_EQ(wait->state, ComponentState::READY);
    isReadOnlyWhole<ComponentList>(encodeFields(list));
    isReadOnlyWhole<WaitRequest>(encodeFields(WaitRequest{"orvApp", ComponentState::READY}));
}

TEST(OperatorWire, readsBackManagementCallsAndAnswers) {
    const WireBytes call = encodeFields(ManagementCall{"orvApp", 2, false, TAIL});
    const auto read = decodeFields<ManagementCall>(call);
    const WireBytes answer = encodeFields(ManagementAnswer{102, TAIL});

    EXPECT_EQ(read->component, "orvApp");
    EXPECT_EQ(read->code, 2);
    EXPECT_FALSE(read->answered);
    EXPECT_THAT(read->payload, ElementsAre(1, 2, 0, 255));
    EXPECT_TRUE(decodeFields<ManagementCall>(encodeFields(ManagementCall{"x", 1, true, {}}))->answered);
    EXPECT_FALSE(decodeFields<ManagementCall>(WireSpan(call).first(13)).has_value());
    EXPECT_EQ(answer, bytes({0, 102, 1, 2, 0, 255}));
    EXPECT_EQ(decodeFields<ManagementAnswer>(answer)->code, 102);
    EXPECT_THAT(decodeFields<ManagementAnswer>(answer)->payload, ElementsAre(1, 2, 0, 255));
    EXPECT_FALSE(decodeFields<ManagementAnswer>(bytes({0})).has_value());
}

TEST(OperatorWire, readsBackTestResults) {
    const TestResults results{{{"Ops", 0}, {"Night", 1}}};

    EXPECT_EQ(decodeFields<TestResults>(encodeFields(results))->results, results.results);
    EXPECT_THAT(decodeFields<TestResults>(encodeFields(TestResults()))->results, IsEmpty());
    isReadOnlyWhole<TestResults>(encodeFields(results));
}

TEST(OperatorWire, readsBackProbesAndMessages) {
    const auto probe = decodeFields<ProbeRequest>(encodeFields(ProbeRequest{"orvApp", 5}));
    const WireBytes body = encodeFields(RawMessage{"orvApp", 103, 2, TAIL});
    const auto message = decodeFields<RawMessage>(body);

    EXPECT_EQ(probe->component, "orvApp");
    EXPECT_EQ(probe->code, 5);
    isReadOnlyWhole<ProbeRequest>(encodeFields(ProbeRequest{"orvApp", 5}));
    EXPECT_EQ(message->component, "orvApp");
    EXPECT_EQ(message->format, 103);
    EXPECT_EQ(message->code, 2);
    EXPECT_THAT(message->payload, ElementsAre(1, 2, 0, 255));
    EXPECT_FALSE(decodeFields<RawMessage>(WireSpan(body).first(13)).has_value());
}

TEST(OperatorWire, readsBackFaultRules) {
    const FaultRule rule{FaultKind::DELAY, FaultOperation::BULK_GET, "Global.*", 3, 1500, -7};
    const FaultList list{{{4, rule}, {5, FaultRule()}}};
    const WireBytes body = FaultWire::encode(rule);

    EXPECT_EQ(FaultWire::decode(body), rule);
    for (std::size_t length = 0; length < body.size(); ++length) {
        EXPECT_FALSE(FaultWire::decode(WireSpan(body).first(length)).has_value()) << length;
    }
    EXPECT_EQ(decodeFields<FaultList>(encodeFields(list))->faults, list.faults);
    isReadOnlyWhole<FaultList>(encodeFields(list));
}

// The bytes of what is only read back above.
TEST(OperatorWire, putsEachFieldInItsPlace) {
    const Attribute some{"Key", 2, "25"};
    const FaultRule rule{FaultKind::DELAY, FaultOperation::BULK_GET, "G.*", 3, 1500, -7};
    const std::string ruleWords = "00000002 00000003 00000003 'G.*' 00000003 000005dc fffffff9";
    const LogEntry entry{0x100000002, -2, 999999, -3, 0x8B000001u, 4096, "OrvApp", "text"};
    LogRecord record;
    record.timed = true;
    record.record.kind = 3;

    EXPECT_EQ((encodeFields(AttributeAnswers{{{true, some}, {false, {"E", 1, ""}}}})),
              spelt("00000002 00000001 00000003 'Key' 00000002 00000002 '25' 00000000 00000001 'E' 00000001 00000000"));
    EXPECT_EQ((encodeFields(ListRequest{"Pre", "Af"})), spelt("00000003 'Pre' 00000002 'Af'"));
    EXPECT_EQ((encodeFields(AttributePage{{some}, true})),
              spelt("00000001 00000001 00000003 'Key' 00000002 00000002 '25'"));
    EXPECT_EQ((encodeFields(LogRequest{1, 9, -1})), spelt("0000000000000001 00000009 ffffffff"));
    EXPECT_EQ((encodeFields(LogPage{{entry}, true})),
              spelt("00000001 00000001 0000000100000002 fffffffffffffffe 000f423f fffffffd 8b000001 00001000 "
                    "00000006 'OrvApp' 00000004 'text'"));
    EXPECT_EQ((encodeFields(ComponentList{{{"OrvApp", ComponentState::CONFIGURED, 1, 77}}})),
              spelt("00000001 00000006 'OrvApp' 00000003 00000001 0000004d"));
    EXPECT_EQ((encodeFields(WaitRequest{"orvApp", ComponentState::READY})), spelt("00000006 'orvApp' 00000002"));
    EXPECT_EQ((encodeFields(ManagementCall{"orvApp", 2, true, TAIL})), spelt("00000006 'orvApp' 0002 0001 010200ff"));
    EXPECT_EQ((encodeFields(TestResults{{{"Ops", 0}, {"Night", 1}}})),
              spelt("00000002 00000003 'Ops' 00000000 00000005 'Night' 00000001"));
    EXPECT_EQ((encodeFields(ProbeRequest{"orvApp", 5})), spelt("00000006 'orvApp' 0005"));
    EXPECT_EQ((encodeFields(RawMessage{"orvApp", 103, 2, TAIL})), spelt("00000006 'orvApp' 0067 0002 010200ff"));
    EXPECT_EQ(FaultWire::encode(rule), spelt(ruleWords));
    EXPECT_EQ((encodeFields(FaultList{{{4, rule}}})), spelt("00000001 00000004 " + ruleWords));
    const WireBytes recorded = encodeFields(record);
    EXPECT_THAT(WireSpan(recorded).first(8), ElementsAre(0, 0, 0, 1, 0, 0, 0, 3));
}
