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
        EXPECT_FALSE(Message::decode(WireSpan(body).first(length)).has_value()) << length;
    }
    WireBytes longer = body;
    longer.push_back(0);
    EXPECT_FALSE(Message::decode(longer).has_value());
    EXPECT_TRUE(Message::decode(body).has_value());
}

}  // namespace

TEST(OperatorWire, answersEachCodeWithItsReplyCode) {
    EXPECT_EQ(OperatorCode::FORMAT, 0x7F01);
    EXPECT_EQ(OperatorCode::replyTo(OperatorCode::GET), 0x101);
    EXPECT_EQ(OperatorCode::replyTo(OperatorCode::RELEASE_HELD), 0x136);
}

TEST(OperatorWire, putsTheTagBeforeTheBody) {
    const OperatorRequest request{0x01020304, TAIL};

    EXPECT_EQ(request.encode(), bytes({1, 2, 3, 4, 1, 2, 0, 255}));

    const WireBytes payload = request.encode();
    const auto read = OperatorRequest::decode(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tag, 0x01020304u);
    EXPECT_THAT(read->body, ElementsAre(1, 2, 0, 255));
    EXPECT_FALSE(OperatorRequest::decode(bytes({1, 2, 3})).has_value());
}

TEST(OperatorWire, putsStatusAndReasonBeforeTheBodyOfAReply) {
    const OperatorReply reply{1, OperatorStatus::NO_COMPONENT, "no", TAIL};

    EXPECT_EQ(reply.encode(), bytes({0, 0, 0, 1, 0, 0, 0, 3, 0, 0, 0, 2, 'n', 'o', 1, 2, 0, 255}));

    const WireBytes payload = reply.encode();
    const auto read = OperatorReply::decode(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tag, 1u);
    EXPECT_EQ(read->status, OperatorStatus::NO_COMPONENT);
    EXPECT_EQ(read->reason, "no");
    EXPECT_THAT(read->body, ElementsAre(1, 2, 0, 255));
    EXPECT_FALSE(OperatorReply::decode(WireSpan(payload).first(13)).has_value());
}

TEST(OperatorWire, readsBackTextsNumbersAndKeyLists) {
    EXPECT_EQ(OneText{"Hi"}.encode(), bytes({0, 0, 0, 2, 'H', 'i'}));
    EXPECT_EQ(OneText::decode(OneText{std::string("a\0b", 3)}.encode())->text, std::string("a\0b", 3));
    EXPECT_EQ(OneTag::decode(OneTag{0xFFFFFFFFu}.encode())->number, 0xFFFFFFFFu);
    EXPECT_EQ((KeyList{{"A", ""}}.encode()), bytes({0, 0, 0, 2, 0, 0, 0, 1, 'A', 0, 0, 0, 0}));
    EXPECT_THAT(KeyList::decode(KeyList{{"A", "", "C"}}.encode())->keys, ElementsAre("A", "", "C"));
    isReadOnlyWhole<OneText>(OneText{"text"}.encode());
    isReadOnlyWhole<OneTag>(OneTag{1}.encode());
    isReadOnlyWhole<KeyList>(KeyList{{"A", "BC"}}.encode());
}

TEST(OperatorWire, refusesACountThatItsItemsDoNotBearOut) {
    EXPECT_FALSE(KeyList::decode(bytes({255, 255, 255, 255})).has_value());
    EXPECT_FALSE(FaultList::decode(bytes({255, 255, 255, 255, 0, 0, 0, 1})).has_value());
}

TEST(OperatorWire, readsBackAttributes) {
    const Attribute first{"Key", 2, "25"};
    const Attribute second{"Empty", 1, ""};
    const AttributeAnswers answers{{{true, first}, {false, second}}};
    const AttributePage page{{first, second}, true};
    const ChangeRequest change{{first}, {"Old"}};

    EXPECT_EQ(AttributeAnswers::decode(answers.encode())->answers, answers.answers);
    EXPECT_EQ(AttributePage::decode(page.encode())->attributes, page.attributes);
    EXPECT_TRUE(AttributePage::decode(page.encode())->more);
    EXPECT_FALSE(AttributePage::decode(AttributePage().encode())->more);
    EXPECT_THAT(ChangeRequest::decode(change.encode())->set, ElementsAre(first));
    EXPECT_THAT(ChangeRequest::decode(change.encode())->unset, ElementsAre("Old"));
    EXPECT_EQ(change.encode(), bytes({0, 0, 0, 1, 0, 0, 0, 3, 'K', 'e', 'y', 0, 0, 0, 2, 0, 0, 0, 2, '2', '5',  //
                                      0, 0, 0, 1, 0, 0, 0, 3, 'O', 'l', 'd'}));
    isReadOnlyWhole<AttributeAnswers>(answers.encode());
    isReadOnlyWhole<AttributePage>(page.encode());
    isReadOnlyWhole<ChangeRequest>(change.encode());
}

TEST(OperatorWire, readsBackListRequests) {
    const auto read = ListRequest::decode(ListRequest{"Global.", "Global.X"}.encode());

    EXPECT_EQ(read->prefix, "Global.");
    EXPECT_EQ(read->after, "Global.X");
    isReadOnlyWhole<ListRequest>(ListRequest{"P", "A"}.encode());
}

TEST(OperatorWire, readsBackLogRecords) {
    LogRecord record;
    record.timed = true;
    record.record.kind = 3;
    record.record.number = 0x12340001;
    record.record.text = "a fan has failed";

    const auto read = LogRecord::decode(record.encode());

    ASSERT_TRUE(read);
    EXPECT_TRUE(read->timed);
    EXPECT_EQ(read->record.encode(), record.record.encode());
    EXPECT_EQ(record.encode().size(), 4u + 312u);
    isReadOnlyWhole<LogRecord>(record.encode());
}

TEST(OperatorWire, readsBackEventsWithAnyData) {
    const WireBytes body = RawEvent{66, 3, TAIL}.encode();
    const auto read = RawEvent::decode(body);

    EXPECT_EQ(body, bytes({0, 0, 0, 66, 0, 0, 0, 3, 1, 2, 0, 255}));
    EXPECT_EQ(read->category, 66u);
    EXPECT_EQ(read->number, 3u);
    EXPECT_THAT(read->data, ElementsAre(1, 2, 0, 255));
    EXPECT_FALSE(RawEvent::decode(WireSpan(body).first(7)).has_value());
}

TEST(OperatorWire, readsBackLogPagesWithSixtyFourBitNumbers) {
    const LogEntry entry{0x100000002, -1, 999999, -3, 0x8B000001u, 4096, "OrvApp", "text"};
    const LogPage page{{entry, LogEntry()}, true};

    const auto read = LogPage::decode(page.encode());

    ASSERT_TRUE(read);
    EXPECT_EQ(read->entries, page.entries);
    EXPECT_TRUE(read->more);
    isReadOnlyWhole<LogPage>(page.encode());
    EXPECT_EQ((LogRequest{0x0102030405060708, 9, 3}.encode()), bytes({1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 9, 0, 0, 0, 3}));
    EXPECT_EQ(LogRequest::decode(LogRequest{1, 9}.encode())->maxLevel, INT32_MAX);
    EXPECT_EQ(LogRequest::decode(LogRequest{0x0102030405060708, 9}.encode())->since, 0x0102030405060708u);
    EXPECT_EQ(LogRequest::decode(LogRequest{1, 9}.encode())->limit, 9u);
    isReadOnlyWhole<LogRequest>(LogRequest{1, 9}.encode());
}

TEST(OperatorWire, readsBackASearchOfTheLog) {
    const LogSearch search{{1, 2, -3, "orvApp", {{0x8B000001u, "text"}, {9, ""}}, true}, 7};

    const auto read = LogSearch::decode(search.encode());

    ASSERT_TRUE(read);
    EXPECT_EQ(read->selection.after, 1u);
    EXPECT_EQ(read->selection.before, 2u);
    EXPECT_EQ(read->selection.maxLevel, -3);
    EXPECT_EQ(read->selection.component, "orvApp");
    EXPECT_EQ(read->selection.kinds, search.selection.kinds);
    EXPECT_TRUE(read->selection.newestFirst);
    EXPECT_EQ(read->limit, 7u);
    isReadOnlyWhole<LogSearch>(search.encode());
}

TEST(OperatorWire, readsBackASeriesOfTheLog) {
    SeriesRequest request;
    request.selection = {1, 2, -3, "orvApp", {{9, "text"}}, false};
    SeriesAnswer answer;
    answer.series = {{{0, 0, 0, 3, 4, 5, "orvApp", "text"}}, {{0, 1000001}, {0, -7}}, 77, true};

    const auto readRequest = SeriesRequest::decode(request.encode());
    const auto read = SeriesAnswer::decode(answer.encode());

    ASSERT_TRUE(readRequest && read);
    EXPECT_EQ(readRequest->selection.after, 1u);
    EXPECT_EQ(readRequest->selection.before, 2u);
    EXPECT_EQ(readRequest->selection.maxLevel, -3);
    EXPECT_EQ(readRequest->selection.kinds, request.selection.kinds);
    EXPECT_EQ(read->series.texts, answer.series.texts);
    EXPECT_EQ(read->series.entries, answer.series.entries);
    EXPECT_EQ(read->series.last, 77u);
    EXPECT_TRUE(read->series.more);
    isReadOnlyWhole<SeriesRequest>(request.encode());
    isReadOnlyWhole<SeriesAnswer>(answer.encode());

    answer.series.entries.push_back({1, 0});
    EXPECT_FALSE(SeriesAnswer::decode(answer.encode())) << "an entry without a text";
}

TEST(OperatorWire, readsBackComponentsAndWaits) {
    const ComponentList list{{{"OrvApp", ComponentState::CONFIGURED, 1, 77}}};
    const auto wait = WaitRequest::decode(WaitRequest{"orvApp", ComponentState::READY}.encode());

    EXPECT_EQ(ComponentList::decode(list.encode())->components, list.components);
    EXPECT_EQ(wait->component, "orvApp");
    EXPECT_EQ(wait->state, ComponentState::READY);
    isReadOnlyWhole<ComponentList>(list.encode());
    isReadOnlyWhole<WaitRequest>(WaitRequest{"orvApp", ComponentState::READY}.encode());
}

TEST(OperatorWire, readsBackManagementCallsAndAnswers) {
    const WireBytes call = ManagementCall{"orvApp", 2, false, TAIL}.encode();
    const auto read = ManagementCall::decode(call);
    const WireBytes answer = ManagementAnswer{102, TAIL}.encode();

    EXPECT_EQ(read->component, "orvApp");
    EXPECT_EQ(read->code, 2);
    EXPECT_FALSE(read->answered);
    EXPECT_THAT(read->payload, ElementsAre(1, 2, 0, 255));
    EXPECT_TRUE(ManagementCall::decode(ManagementCall{"x", 1, true, {}}.encode())->answered);
    EXPECT_FALSE(ManagementCall::decode(WireSpan(call).first(13)).has_value());
    EXPECT_EQ(answer, bytes({0, 102, 1, 2, 0, 255}));
    EXPECT_EQ(ManagementAnswer::decode(answer)->code, 102);
    EXPECT_THAT(ManagementAnswer::decode(answer)->payload, ElementsAre(1, 2, 0, 255));
    EXPECT_FALSE(ManagementAnswer::decode(bytes({0})).has_value());
}

TEST(OperatorWire, readsBackTestResults) {
    const TestResults results{{{"Ops", 0}, {"Night", 1}}};

    EXPECT_EQ(TestResults::decode(results.encode())->results, results.results);
    EXPECT_THAT(TestResults::decode(TestResults().encode())->results, IsEmpty());
    isReadOnlyWhole<TestResults>(results.encode());
}

TEST(OperatorWire, readsBackProbesAndMessages) {
    const auto probe = ProbeRequest::decode(ProbeRequest{"orvApp", 5}.encode());
    const WireBytes body = RawMessage{"orvApp", 103, 2, TAIL}.encode();
    const auto message = RawMessage::decode(body);

    EXPECT_EQ(probe->component, "orvApp");
    EXPECT_EQ(probe->code, 5);
    isReadOnlyWhole<ProbeRequest>(ProbeRequest{"orvApp", 5}.encode());
    EXPECT_EQ(message->component, "orvApp");
    EXPECT_EQ(message->format, 103);
    EXPECT_EQ(message->code, 2);
    EXPECT_THAT(message->payload, ElementsAre(1, 2, 0, 255));
    EXPECT_FALSE(RawMessage::decode(WireSpan(body).first(13)).has_value());
}

TEST(OperatorWire, readsBackFaultRules) {
    const FaultRule rule{FaultKind::DELAY, FaultOperation::BULK_GET, "Global.*", 3, 1500, -7};
    const FaultList list{{{4, rule}, {5, FaultRule()}}};
    const WireBytes body = FaultWire::encode(rule);

    EXPECT_EQ(FaultWire::decode(body), rule);
    for (std::size_t length = 0; length < body.size(); ++length) {
        EXPECT_FALSE(FaultWire::decode(WireSpan(body).first(length)).has_value()) << length;
    }
    EXPECT_EQ(FaultList::decode(list.encode())->faults, list.faults);
    isReadOnlyWhole<FaultList>(list.encode());
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

    EXPECT_EQ((AttributeAnswers{{{true, some}, {false, {"E", 1, ""}}}}.encode()),
              spelt("00000002 00000001 00000003 'Key' 00000002 00000002 '25' 00000000 00000001 'E' 00000001 00000000"));
    EXPECT_EQ((ListRequest{"Pre", "Af"}.encode()), spelt("00000003 'Pre' 00000002 'Af'"));
    EXPECT_EQ((AttributePage{{some}, true}.encode()), spelt("00000001 00000001 00000003 'Key' 00000002 00000002 '25'"));
    EXPECT_EQ((LogRequest{1, 9, -1}.encode()), spelt("0000000000000001 00000009 ffffffff"));
    EXPECT_EQ((LogPage{{entry}, true}.encode()),
              spelt("00000001 00000001 0000000100000002 fffffffffffffffe 000f423f fffffffd 8b000001 00001000 "
                    "00000006 'OrvApp' 00000004 'text'"));
    EXPECT_EQ((ComponentList{{{"OrvApp", ComponentState::CONFIGURED, 1, 77}}}.encode()),
              spelt("00000001 00000006 'OrvApp' 00000003 00000001 0000004d"));
    EXPECT_EQ((WaitRequest{"orvApp", ComponentState::READY}.encode()), spelt("00000006 'orvApp' 00000002"));
    EXPECT_EQ((ManagementCall{"orvApp", 2, true, TAIL}.encode()), spelt("00000006 'orvApp' 0002 0001 010200ff"));
    EXPECT_EQ((TestResults{{{"Ops", 0}, {"Night", 1}}}.encode()),
              spelt("00000002 00000003 'Ops' 00000000 00000005 'Night' 00000001"));
    EXPECT_EQ((ProbeRequest{"orvApp", 5}.encode()), spelt("00000006 'orvApp' 0005"));
    EXPECT_EQ((RawMessage{"orvApp", 103, 2, TAIL}.encode()), spelt("00000006 'orvApp' 0067 0002 010200ff"));
    EXPECT_EQ(FaultWire::encode(rule), spelt(ruleWords));
    EXPECT_EQ((FaultList{{{4, rule}}}.encode()), spelt("00000001 00000004 " + ruleWords));
    const WireBytes recorded = record.encode();
    EXPECT_THAT(WireSpan(recorded).first(8), ElementsAre(0, 0, 0, 1, 0, 0, 0, 3));
}
