#include "platform/wire/Wire.h"
#include "testing/switchctl/SwitchctlTest.h"

#include <functional>
#include <optional>

namespace {

// A daemon that knows the profile "Operators" and answers test requests; what it logs comes first, then the result.
class CallhomeTest : public SwitchctlDaemonTest {
protected:
    void answer(Hsb_Message& message) override {
        if (message.format() != MessageFormat::MANAGEMENT) {
            return;
        }
        if (message.code() == ManagementCode::PROFILE_PROCESSED_INFO) {
            const auto handle = ManagementRequest::decode(message.payload())->handle;
            const auto block =
                WireWriter().zeros(8).u32(1).fixedText("Operators", 36).u32(0).fixedText("NotApplicable", 64).take();
            respond(message, InfoResponse{handle, infoStatus_, block}.encode());
        }
        if (const auto request = TestProfileRequest::decode(message.payload())) {
            answerTest(message, *request);
        }
    }
    void answerTest(Hsb_Message& message, const TestProfileRequest& request) {
        requested_ = request.name;
        write_();
        if (result_) {
            EXPECT_EQ(message.reply(MessageFormat::MANAGEMENT, ManagementCode::TEST_PROFILE_RESULTS,
                                    TestProfileResults{*result_, resultName_.value_or(request.name)}.encode()),
                      0);
        }
        respond(message, TestProfileResponse{request.handle, status_, request.name}.encode());
    }

    std::string requested_;
    std::function<void()> write_ = [] {};  // into the event log
    std::optional<std::uint32_t> result_;
    std::optional<std::string> resultName_;
    std::uint32_t infoStatus_ = 0;
};

TEST_F(CallhomeTest, waitsForTheResultAsWell) {
    result_ = 0;

    EXPECT_EQ(done({"callhome", "test", "Operators"}), "Operators: Passed\n");
    EXPECT_EQ(done({"callhome", "test", "Operators", "--json"}),
              "{\"profile\":\"Operators\",\"status\":0,\"result\":\"Passed\",\"reason\":\"\"}\n");
    EXPECT_EQ(requested_, "Operators");
}

constexpr const char* GIVEN_UP =
    "CallHome message send for profile Operators to recipient a@b failed on SMTP server x, port 25. Retry will not be "
    "attempted, ignoring recipient.";

struct ResultCase {
    std::uint32_t result;
    bool logs;
    const char* out;
    std::string reason;
    std::string error;
};

const ResultCase RESULTS[] = {
    {1, true, "Failed", GIVEN_UP, std::string("the test message for Operators was not delivered (") + GIVEN_UP + ")"},
    {1, false, "Failed", "", "the test message for Operators was not delivered"},
    {2, false, "Cleared", "discarded with the queue", "the test message for Operators was discarded with the queue"},
    {9, false, "unknown result 9", "", "the test message for Operators was not delivered"},
};

TEST_F(CallhomeTest, namesAResultThatIsNoSuccessAndItsReason) {
    for (const ResultCase& one : RESULTS) {
        result_ = one.result;
        write_ = [&] {
            if (one.logs) {
                write(orv_log::kRecipientGivenUp, "Operators", "a@b", "x", 25);
            }
        };
        const Outcome result = run({"callhome", "test", "Operators"});

        EXPECT_EQ(result.status, ExitStatus::REFUSED);
        EXPECT_EQ(result.out, std::string("Operators: ") + one.out + "\n");
        EXPECT_EQ(result.err, "switchctl: " + one.error + "\n");
        EXPECT_EQ(run({"callhome", "test", "Operators", "--json"}).out,
                  std::string("{\"profile\":\"Operators\",\"status\":0,\"result\":\"") + one.out + "\",\"reason\":\"" +
                      one.reason + "\"}\n");
    }
}

TEST_F(CallhomeTest, tellsTheReasonFromTheEventLogWhenTheDaemonRefuses) {
    result_ = 1;
    for (const auto& kind :
         {orv_log::kTestUpdating, orv_log::kTestNoSender, orv_log::kTestNoServer, orv_log::kTestServiceDisabled}) {
        write_ = [&] { write(kind, "Operators"); };
        const std::string text = filledText(kind, "Operators");
        const Outcome result = run({"callhome", "test", "Operators"});

        EXPECT_EQ(result.status, ExitStatus::REFUSED);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "switchctl: refused: " + text + "\n");
        EXPECT_EQ(run({"callhome", "test", "Operators", "--json"}).out,
                  "{\"profile\":\"Operators\",\"status\":0,\"result\":\"Failed\",\"reason\":\"" + text + "\"}\n");
    }
}

TEST_F(CallhomeTest, isNotMisledByTheReasonOfAnotherProfile) {
    result_ = 1;
    for (const char* other : {"Other", "My profile Operators", "Operators because I want to"}) {
        write_ = [&] { write(orv_log::kTestServiceDisabled, other); };

        const Outcome result = run({"callhome", "test", "Operators"});

        EXPECT_EQ(result.out, "Operators: Failed\n") << other;
        EXPECT_EQ(result.err, "switchctl: the test message for Operators was not delivered\n") << other;
    }
}

TEST_F(CallhomeTest, isNotMisledByEntriesOfBefore) {
    log(orv_log::kTestServiceDisabled, "Operators");
    result_ = 1;

    EXPECT_EQ(run({"callhome", "test", "Operators"}).err,
              "switchctl: the test message for Operators was not delivered\n");
}

TEST_F(CallhomeTest, tellsThatTheRequestWasRefused) {
    status_ = 6;

    EXPECT_EQ(run({"callhome", "test", "Operators"}).err, "switchctl: refused: the test message cannot be made (6)\n");
}

TEST_F(CallhomeTest, givesUpWhenNoResultComes) {
    write_ = [&] { write(orv_log::kRetryNow, "x", 25); };
    const Outcome result = run({"callhome", "test", "Operators", "--timeout", "0.3"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_EQ(result.out, "Operators: accepted, waiting for the result\n");
    EXPECT_EQ(result.err,
              "switchctl: no result for Operators in 0.3 s; its mail is still being tried (Will retry sending "
              "via SMTP server=x, port=25)\n");
}

TEST_F(CallhomeTest, doesNotWaitForAProfileThatTheDaemonDoesNotKnow) {
    const Outcome result = run({"callhome", "test", "Nobody"});

    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_EQ(result.err,
              "switchctl: orvApp has no profile Nobody, so there is no result; see switchctl profile list\n");
}

TEST_F(CallhomeTest, waitsWhenTheDaemonCannotTellItsProfilesNow) {
    infoStatus_ = 2;
    write_ = [&] { write(orv_log::kProcessedUpdating); };  // Our own doing.
    const Outcome result = run({"callhome", "test", "Nobody", "--timeout", "0.3"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_EQ(result.err,
              "switchctl: no result for Nobody in 0.3 s; orvApp is reading its configuration and sends the "
              "test afterwards\n");
}

TEST_F(CallhomeTest, isNotMisledByTheResultOfAnotherProfile) {
    result_ = 0;
    resultName_ = "Other";

    EXPECT_EQ(run({"callhome", "test", "Operators", "--timeout", "0.3"}).status, ExitStatus::NO_ANSWER);
}

TEST_F(CallhomeTest, isNotMisledByAnEarlierResult) {
    result_ = 0;
    done({"callhome", "test", "Operators"});
    result_ = std::nullopt;

    EXPECT_EQ(run({"callhome", "test", "Operators", "--timeout", "0.3"}).status, ExitStatus::NO_ANSWER);
}

TEST_F(CallhomeTest, refusesANameThatNoProfileCanHave) {
    const Outcome result = run({"callhome", "test", std::string(33, 'n')});

    EXPECT_EQ(result.status, ExitStatus::WRONG_USAGE);
    EXPECT_EQ(requested_, "");
}

}  // namespace
