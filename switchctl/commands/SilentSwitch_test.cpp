// A switchd that falls silent in the middle of a command: what it had said and what others tell stands there all the
// same, and what could not be known is named.
#include "testing/switchctl/QueueFlash.h"
#include "testing/switchctl/StatusTest.h"

using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class SilentSwitch : public StatusTest {
protected:
    void SetUp() override {
        StatusTest::SetUp();
        configure();
        trace();
        traceTo("Main") << HEAD << "OrvCHMesgQ addInternal: entry (5) added to the send queue\n";
        flash_.put("send", 5, QueueFlash::event() + QueueFlash::state());
        flash_.order("send", {5});
    }
    // The command, with only so many of its requests heard.
    Outcome after(unsigned requests, std::vector<std::string> words) {
        words.insert(words.end(), {"--timeout", "0.05"});
        heard_ = 0;
        switch_.bus().drop([this, requests](const Hsb_Message& message) {
            return message.destination() == ServiceAddress::OPERATOR && heard_++ >= requests;
        });
        const Outcome outcome = run(words);
        switch_.bus().clearFaults();
        return outcome;
    }
    // How many requests the command makes.
    unsigned requestsOf(const std::vector<std::string>& words) {
        after(1000, words);
        return heard_;
    }

    unsigned heard_ = 0;
    QueueFlash flash_{switch_};
};

constexpr const char* SILENCE = "switchd did not answer in 0.05 s";
// What is asked of orvApp goes behind a question to switchd: where that was answered still, orvApp is the one that is
// silent, as far as can be seen.
constexpr const char* OTHER_SILENCE = "orvApp did not answer in 0.05 s";

TEST_F(SilentSwitch, statusBlamesSwitchdAndShowsWhatItHadSaid) {
    const unsigned all = requestsOf({"status"});
    unsigned reports = 0;
    for (unsigned requests = 0; requests < all; ++requests) {
        const Outcome outcome = after(requests, {"status"});

        EXPECT_EQ(outcome.status, ExitStatus::NO_ANSWER) << requests;
        EXPECT_THAT(outcome.err, AnyOf(HasSubstr(SILENCE), HasSubstr(OTHER_SILENCE))) << requests;
        if (outcome.err.find(SILENCE) != std::string::npos && !outcome.out.empty()) {
            ++reports;
            EXPECT_THAT(outcome.out, HasSubstr(std::string("1. ") + SILENCE + ": what orvApp is at is not known\n"));
            EXPECT_THAT(outcome.out, Not(HasSubstr("restart orvApp")));
            EXPECT_THAT(outcome.out, HasSubstr("\nsender        sw@example.com\n"));
            EXPECT_THAT(outcome.out, HasSubstr("\ndiscarded     not known\n"));
        }
    }
    EXPECT_GT(reports, 0u);
}

TEST_F(SilentSwitch, queueListShowsTheFilesAndNamesWhatIsNotKnown) {
    const unsigned all = requestsOf({"queue", "list"});
    ASSERT_GT(all, 3u);
    for (unsigned requests = 0; requests < all; ++requests) {
        const Outcome outcome = after(requests, {"queue", "list"});

        EXPECT_EQ(outcome.status, ExitStatus::NO_ANSWER) << requests;
        EXPECT_THAT(outcome.out, HasSubstr("Port 5 went down\n")) << requests;
        EXPECT_THAT(outcome.out, AnyOf(HasSubstr(std::string("not known: ") + SILENCE),
                                       HasSubstr(std::string("which message is open is not known: ") + OTHER_SILENCE)))
            << requests;
    }
}

TEST_F(SilentSwitch, timelineHasWhatTheTracesTell) {
    const unsigned all = requestsOf({"timeline", "5"});
    ASSERT_GT(all, 0u);
    for (unsigned requests = 0; requests < all; ++requests) {
        const Outcome outcome = after(requests, {"timeline", "5"});

        EXPECT_EQ(outcome.status, ExitStatus::NO_ANSWER) << requests;
        EXPECT_THAT(outcome.out, HasSubstr("comes to the send queue as number 5\n")) << requests;
        EXPECT_THAT(outcome.out, HasSubstr(std::string("what the event log has is not known: ") + SILENCE)) << requests;
    }
}

TEST_F(SilentSwitch, theBooksAndTheLogSayThatTheyAreNotKnown) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"ledger"}, {"log"}, {"log", "-n", "3"}, {"metrics"}}) {
        const unsigned all = requestsOf(words);
        ASSERT_GT(all, 0u);
        for (unsigned requests = 0; requests < all; ++requests) {
            const Outcome outcome = after(requests, words);

            EXPECT_EQ(outcome.status, ExitStatus::NO_ANSWER) << words.front() << requests;
            EXPECT_THAT(outcome.err, AnyOf(HasSubstr(SILENCE), HasSubstr(OTHER_SILENCE))) << words.front() << requests;
            EXPECT_THAT(outcome.out, AnyOf(IsEmpty(), HasSubstr("not known"))) << words.front() << requests;
        }
    }
}

}  // namespace
