#include "switchd/services/OperatorLog.h"
#include "testing/OperatorSession.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::SizeIs;

namespace {

class OperatorLogTest : public ::testing::Test {
protected:
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

TEST_F(OperatorLogTest, readsTheLogSinceAnId) {
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

TEST_F(OperatorLogTest, leavesOutLevelsAboveTheOneAskedFor) {
    // Between two entries that are asked for there are more others than one page holds.
    for (std::size_t number = 0; number <= OperatorLog::PAGE_ENTRIES + 3; ++number) {
        LogEntry entry;
        entry.level = number == 0 || number >= OperatorLog::PAGE_ENTRIES + 2 ? 3 : 15;
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
    const std::uint64_t second = OperatorLog::PAGE_ENTRIES + 3;

    EXPECT_THAT(ids({0, 0, 3}), ElementsAre(0, 1, second, second + 1));
    EXPECT_THAT(ids({0, 2, 3}), ElementsAre(1, 1, second));
    EXPECT_THAT(ids({second, 2, 3}), ElementsAre(0, second + 1));
    EXPECT_THAT(ids({0, 0, 2}), ElementsAre(0));
}

TEST_F(OperatorLogTest, readsALongLogInPages) {
    for (std::size_t number = 0; number <= OperatorLog::PAGE_ENTRIES; ++number) {
        log("x");
    }

    const auto first = decodeFields<LogPage>(operator_.answerTo(OperatorCode::READ_LOG, LogRequest{0, 0}).body);
    const auto all = decodeFields<LogPage>(operator_.answerTo(OperatorCode::READ_LOG, LogRequest{0, 0xFFFFFFFFu}).body);

    EXPECT_THAT(first->entries, SizeIs(OperatorLog::PAGE_ENTRIES));
    EXPECT_TRUE(first->more);
    EXPECT_THAT(all->entries, SizeIs(OperatorLog::PAGE_ENTRIES));
}

TEST_F(OperatorLogTest, cutsPagesOfLongLinesByTheirBytes) {
    const std::string longText(OperatorLog::PAGE_BYTES * 2 / 3, 'x');
    for (int number = 0; number < 2; ++number) {
        LogEntry entry;
        entry.text = longText;
        ASSERT_EQ(sw_.store().append(entry), 0);
    }

    const auto page = decodeFields<LogPage>(operator_.answerTo(OperatorCode::READ_LOG, LogRequest{0, 0}).body);

    EXPECT_THAT(page->entries, SizeIs(1));
    EXPECT_TRUE(page->more);
}

TEST_F(OperatorLogTest, searchesALongLogFromItsEndInPages) {
    for (std::size_t count = 0; count < OperatorLog::SEARCH_ENTRIES + 2; ++count) {
        LogEntry entry;
        entry.number = count % 2 == 0 ? 1 : 2;
        entry.text = std::to_string(count);
        ASSERT_EQ(sw_.store().append(entry), 0);
    }
    LogSearch search;
    search.selection.newestFirst = true;
    const auto ask = [&] { return decodeFields<LogPage>(operator_.answerTo(OperatorCode::SEARCH_LOG, search).body); };

    const auto whole = ask();
    ASSERT_EQ(whole->entries.size(), OperatorLog::SEARCH_ENTRIES);
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

TEST_F(OperatorLogTest, tellsWhatALogSaysOnceInParts) {
    const std::string longText(OperatorLog::SERIES_BYTES * 2 / 3, 'x');
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

TEST_F(OperatorLogTest, followsTheLogFromAnIdOnAsLinesCome) {
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

TEST_F(OperatorLogTest, followsALongLogPageByPage) {
    const std::size_t count = OperatorLog::PAGE_ENTRIES + 3;
    for (std::size_t number = 0; number < count; ++number) {
        log("x");
    }
    operator_.ask(OperatorCode::FOLLOW_LOG, LogRequest{0, 0});

    const std::vector<OperatorAnswer> got = operator_.answers();

    ASSERT_THAT(got, SizeIs(3));
    EXPECT_THAT(lines(got[1].body), SizeIs(OperatorLog::PAGE_ENTRIES));
    EXPECT_THAT(lines(got[2].body), SizeIs(3));
}

TEST_F(OperatorLogTest, stopsFollowingWhenAskedOrWhenTheFollowerLeaves) {
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

TEST_F(OperatorLogTest, stopsOnlyTheCallersOwnStream) {
    const std::uint32_t tag = operator_.ask(OperatorCode::FOLLOW_LOG, LogRequest{0, 0});
    operator_.answers();

    const OperatorAnswer answer = other_.answerTo(OperatorCode::STOP, OneTag{tag});
    EXPECT_EQ(answer.status, OperatorStatus::REFUSED);
    EXPECT_EQ(answer.reason, "nothing to stop under this tag");
    log("heard");

    EXPECT_THAT(operator_.answers(), SizeIs(1));
}
