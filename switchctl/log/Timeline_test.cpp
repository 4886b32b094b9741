// What happened to a message, as traces and event log have it.
#include "switchctl/log/Timeline.h"

#include "catalogue/OrvLogEntries.h"
#include "switchctl/text/Second.h"
#include "testing/switchctl/FilledEntry.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::int64_t START = 1700000000;

// A record so many milliseconds behind 22:13:20.
std::string traced(int milliseconds, const std::string& words) {
    char head[64];
    std::snprintf(head, sizeof head, "11/14/2023 UTC 22:13:%02d.%03d  17 ", 20 + milliseconds / 1000,
                  milliseconds % 1000);
    return head + words + "\n";
}

LogEntry logged(int milliseconds, const OrvLogKind& kind, const std::string& text) {
    return {1, START + milliseconds / 1000, milliseconds % 1000 * 1000, kind.level, kind.id, 4096, "OrvApp", text};
}

// "20.000 source text" of each event.
std::vector<std::string> shown(const Timeline& timeline) {
    std::vector<std::string> lines;
    for (const TimelineEvent& event : timeline.events) {
        const std::int64_t milliseconds = event.time / 1000 - START * 1000;
        lines.push_back(std::to_string(milliseconds) + " " + event.source + " " + event.text);
    }
    return lines;
}

constexpr const char* FILL = "\n  Queue             Count  Space Used";

// Two messages with the number 0, one after the other; the second is mailed at the second try, and parked.
TimelineSources twoLives() {
    TimelineSources sources;
    sources.mainTrace =
        traced(0, "OrvCHMesgQ add: testMsg = false, persist = false") +
        traced(1, std::string("OrvCHMesgQ addInternal: entry (0) added to the send queue") + FILL) +
        traced(2, "OrvCHMesgQ removeInternal: entry (0) removed from the send queue") +
        traced(100, "OrvCHMesgQ add: testMsg = false, persist = false") +
        traced(101, std::string("OrvCHMesgQ addInternal: entry (0) added to the send queue") + FILL) +
        traced(102, "OrvCHMesgQ saveEntryToFile: file=/ostrel/conf/orv/callHome/queues/send/m0") +
        traced(200, "OrvCHMesgQ peekOpen: entry (0) opened in the send queue") +
        traced(300, "OrvCHMesgQ peekClose: entry (0) has not completed processing, leave it on the send queue") +
        traced(400, "OrvCHMesgQ saveEntryToFile: file=/ostrel/conf/orv/callHome/queues/send/m0") +
        traced(401, "OrvCHMesgQ add: already on send queue, increment duplicatesPending count (new value: 1)") +
        traced(500, "OrvCHMesgQ peekOpen: entry (0) opened in the send queue") +
        traced(600, "OrvCHMesgQ peekDelete: entry (0) has completed processing, move it to the duplicate queue") +
        traced(601, "OrvCHMesgQ removeInternal: entry (0) removed from the send queue") +
        traced(602, "OrvCHMesgQ deleteEntryFile: file=/ostrel/conf/orv/callHome/queues/send/m0") +
        traced(603, "OrvCHMesgQ addInternal: entry (7) added to the duplicate queue");
    sources.sendTrace = traced(50, "OrvSMTPClient sendRequest: SMTP Send (incl CRLF) {NOT ITS\r\n}") +
                        traced(210, "OrvSendDialogue sendEnvelope: Processing envelope[Ops]") +
                        traced(220, "OrvSMTPClient sendRequest: SMTP Send (incl CRLF) {MAIL FROM:<a@x>\r\n}") +
                        traced(230, "OrvSMTPClient recvResponse: SMTP StatusSMTPResponse (incl CRLF) {451 later\r\n}") +
                        traced(510, "OrvSendDialogue sendEnvelope: Processing envelope[Night]") +
                        traced(520, "OrvSMTPClient sendRequest: SMTP Send (incl CRLF) {MAIL FROM:<n@x>\r\n}");
    sources.log = {
        logged(10, orv_log::kRetryLater, filledText(orv_log::kRetryLater, "192.0.2.9", 25, 5)),
        logged(310, orv_log::kRetryLater, filledText(orv_log::kRetryLater, "192.0.2.1", 25, 5)),
        logged(320, orv_log::kTestNoSender, filledText(orv_log::kTestNoSender, "Ops")),
    };
    return sources;
}

TEST(Timeline, aMessageIsFollowedThroughItsListsAndItsTries) {
    const Timeline timeline = Timeline::ofMessage(twoLives(), "duplicate", 7);

    EXPECT_TRUE(timeline.found);
    EXPECT_EQ(timeline.from, START * SECOND);
    EXPECT_THAT(
        shown(timeline),
        ElementsAre(
            "101 queue comes to the send queue as number 0",
            "102 flash is written to /ostrel/conf/orv/callHome/queues/send/m0", "200 queue goes to the send thread",
            "210 server Processing envelope[Ops]", "220 server > MAIL FROM:<a@x>", "230 server < 451 later",
            "300 queue comes back: entry (0) has not completed processing, leave it on the send queue",
            "310 log Will retry sending via SMTP server=192.0.2.1, port=25, after 5 seconds",
            "400 flash is written to /ostrel/conf/orv/callHome/queues/send/m0",
            "401 queue a repeat is counted: already on send queue, increment duplicatesPending count (new "
            "value: 1)",
            "500 queue goes to the send thread", "510 server Processing envelope[Night]",
            "520 server > MAIL FROM:<n@x>",
            "600 queue comes back: entry (0) has completed processing, move it to the duplicate queue",
            "601 queue leaves the send queue", "602 flash its file goes: /ostrel/conf/orv/callHome/queues/send/m0",
            "603 queue comes to the duplicate queue as number 7"));
}

TEST(Timeline, aNumberIsThatOfTheMessageThatHadItLast) {
    const Timeline timeline = Timeline::ofMessage(twoLives(), "send", 0);

    EXPECT_EQ(shown(timeline), shown(Timeline::ofMessage(twoLives(), "duplicate", 7)));
}

TEST(Timeline, aProfileHasItsPartOfTheDialoguesAndItsEntries) {
    const Timeline timeline = Timeline::ofProfile(twoLives(), "Ops");

    EXPECT_THAT(shown(timeline),
                ElementsAre("210 server Processing envelope[Ops]", "220 server > MAIL FROM:<a@x>",
                            "230 server < 451 later", "320 log " + filledText(orv_log::kTestNoSender, "Ops")));
}

TEST(Timeline, whatTheTracesDoNotHaveIsNotFound) {
    EXPECT_FALSE(Timeline::ofMessage(twoLives(), "send", 5).found);
    EXPECT_FALSE(Timeline::ofMessage({}, "send", 0).found);
    EXPECT_FALSE(Timeline::ofProfile(twoLives(), "Nobody").found);
    EXPECT_THAT(Timeline::ofProfile({}, "Ops").events, IsEmpty());
}

TEST(Timeline, aTraceCutAnywhereIsReadAsFarAsItGoes) {
    const TimelineSources whole = twoLives();
    for (std::size_t length = 0; length < whole.mainTrace.size(); length += 11) {
        TimelineSources cut = whole;
        cut.mainTrace.resize(length);
        const std::size_t head = Timeline::ofMessage(cut, "send", 0).events.size();
        cut.mainTrace = whole.mainTrace.substr(length);
        const std::size_t tail = Timeline::ofMessage(cut, "send", 0).events.size();
        EXPECT_LE(head, 40u);
        EXPECT_LE(tail, 40u);
    }
}

}  // namespace
