#include "app_log.h"
#include "platform/wire/Wire.h"
#include "switchctl/SwitchctlTest.h"

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
        if (log_) {
            app_log(2, number_, -1, -1, -1, -1, 4096, &daemon_, "%s", log_);
        }
        if (result_) {
            EXPECT_EQ(message.reply(MessageFormat::MANAGEMENT, ManagementCode::TEST_PROFILE_RESULTS,
                                    TestProfileResults{*result_, resultName_.value_or(request.name)}.encode()),
                      0);
        }
        respond(message, TestProfileResponse{request.handle, status_, request.name}.encode());
    }

    std::string requested_;
    const char* log_ = nullptr;
    std::uint32_t number_ = 0x8b000019;
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

struct ResultCase {
    std::uint32_t result;
    const char* log;
    const char* out;
    const char* reason;
    const char* error;
};

constexpr ResultCase RESULTS[] = {
    {1, "... ignoring recipient.", "Failed", "... ignoring recipient.",
     "the test message for Operators was not delivered (... ignoring recipient.)"},
    {1, nullptr, "Failed", "", "the test message for Operators was not delivered"},
    {2, nullptr, "Cleared", "discarded with the queue", "the test message for Operators was discarded with the queue"},
    {9, nullptr, "unknown result 9", "", "the test message for Operators was not delivered"},
};

TEST_F(CallhomeTest, namesAResultThatIsNoSuccessAndItsReason) {
    for (const ResultCase& one : RESULTS) {
        result_ = one.result;
        log_ = one.log;
        const Outcome result = run({"callhome", "test", "Operators"});

        EXPECT_EQ(result.status, ExitStatus::REFUSED);
        EXPECT_EQ(result.out, std::string("Operators: ") + one.out + "\n");
        EXPECT_EQ(result.err, std::string("switchctl: ") + one.error + "\n");
        EXPECT_EQ(run({"callhome", "test", "Operators", "--json"}).out,
                  std::string("{\"profile\":\"Operators\",\"status\":0,\"result\":\"") + one.out + "\",\"reason\":\"" +
                      one.reason + "\"}\n");
    }
}

constexpr const char* REFUSED_TEXT = "Unable to test profile Operators because the CallHome service is disabled";

TEST_F(CallhomeTest, tellsTheReasonFromTheEventLogWhenTheDaemonRefuses) {
    result_ = 1;
    const std::pair<std::uint32_t, const char*> refusals[] = {
        {0x8b000008, "Unable to test profile Operators because the CallHome service is updating configuration"},
        {0x8b000007,
         "Unable to test profile Operators because the FromEmailAddress has not been configured in the CallHome setup"},
        {0x8b000006,
         "Unable to test profile Operators because the SMTP addresses are defaults or disabled in the CallHome setup"},
        {0x8b000005, REFUSED_TEXT},
    };
    for (const auto& [number, text] : refusals) {
        number_ = number;
        log_ = text;
        const Outcome result = run({"callhome", "test", "Operators"});

        EXPECT_EQ(result.status, ExitStatus::REFUSED);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, std::string("switchctl: refused: ") + text + "\n");
    }
    EXPECT_EQ(run({"callhome", "test", "Operators", "--json"}).out,
              std::string("{\"profile\":\"Operators\",\"status\":0,\"result\":\"Failed\",\"reason\":\"") +
                  REFUSED_TEXT + "\"}\n");
}

TEST_F(CallhomeTest, isNotMisledByTheReasonOfAnotherProfile) {
    result_ = 1;
    number_ = 0x8b000005;
    for (const char* other : {"Other", "My profile Operators", "Operators because I want to"}) {
        const std::string text =
            "Unable to test profile " + std::string(other) + " because the CallHome service is disabled";
        log_ = text.c_str();

        const Outcome result = run({"callhome", "test", "Operators"});

        EXPECT_EQ(result.out, "Operators: Failed\n") << other;
        EXPECT_EQ(result.err, "switchctl: the test message for Operators was not delivered\n") << other;
    }
}

TEST_F(CallhomeTest, isNotMisledByEntriesOfBefore) {
    app_log(2, 0x8b000005, -1, -1, -1, -1, 4096, &daemon_, "%s", REFUSED_TEXT);
    switch_.pump();
    result_ = 1;

    EXPECT_EQ(run({"callhome", "test", "Operators"}).err,
              "switchctl: the test message for Operators was not delivered\n");
}

TEST_F(CallhomeTest, tellsThatTheRequestWasRefused) {
    status_ = 6;

    EXPECT_EQ(run({"callhome", "test", "Operators"}).err, "switchctl: refused: the test message cannot be made (6)\n");
}

TEST_F(CallhomeTest, givesUpWhenNoResultComes) {
    log_ = "Will retry sending";
    const Outcome result = run({"callhome", "test", "Operators", "--timeout", "1"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_EQ(result.out, "Operators: accepted, waiting for the result\n");
    EXPECT_EQ(result.err,
              "switchctl: no result for Operators in 1 s; its mail is still being tried (Will retry sending)\n");
}

TEST_F(CallhomeTest, doesNotWaitForAProfileThatTheDaemonDoesNotKnow) {
    const Outcome result = run({"callhome", "test", "Nobody"});

    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_EQ(result.err,
              "switchctl: orvApp has no profile Nobody, so there is no result; see switchctl profile list\n");
}

TEST_F(CallhomeTest, waitsWhenTheDaemonCannotTellItsProfilesNow) {
    infoStatus_ = 2;
    log_ = "profile-processed-info during configuration update";
    number_ = 0x8b00000a;  // Our own doing.
    const Outcome result = run({"callhome", "test", "Nobody", "--timeout", "1"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_EQ(result.err,
              "switchctl: no result for Nobody in 1 s; orvApp is reading its configuration and sends the "
              "test afterwards\n");
}

TEST_F(CallhomeTest, isNotMisledByTheResultOfAnotherProfile) {
    result_ = 0;
    resultName_ = "Other";

    EXPECT_EQ(run({"callhome", "test", "Operators", "--timeout", "1"}).status, ExitStatus::NO_ANSWER);
}

TEST_F(CallhomeTest, isNotMisledByAnEarlierResult) {
    result_ = 0;
    done({"callhome", "test", "Operators"});
    result_ = std::nullopt;

    EXPECT_EQ(run({"callhome", "test", "Operators", "--timeout", "1"}).status, ExitStatus::NO_ANSWER);
}

TEST_F(CallhomeTest, refusesANameThatNoProfileCanHave) {
    const Outcome result = run({"callhome", "test", std::string(33, 'n')});

    EXPECT_EQ(result.status, ExitStatus::WRONG_USAGE);
    EXPECT_EQ(requested_, "");
}

}  // namespace
