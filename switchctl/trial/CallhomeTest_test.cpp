#include "platform/wire/Wire.h"
#include "testing/switchctl/StatusTest.h"

#include <functional>
#include <optional>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// A daemon that knows the profile "Operators" and answers test requests; what it logs comes first, then the result.
class CallhomeTest : public StatusTest {
protected:
    void SetUp() override {
        StatusTest::SetUp();
        configure();
    }
    void answer(Hsb_Message& message) override {
        const bool ours = message.format() == MessageFormat::MANAGEMENT;
        if (!ours || message.code() == ManagementCode::MESG_Q_INFO) {
            StatusTest::answer(message);
            return;
        }
        if (message.code() == ManagementCode::PROFILE_PROCESSED_INFO) {
            const auto handle = decodeFields<ManagementRequest>(message.payload())->handle;
            const auto block =
                WireWriter().zeros(8).u32(1).fixedText("Operators", 36).u32(0).fixedText("NotApplicable", 64).take();
            respond(message, encodeFields(InfoResponse{handle, infoStatus_, block}));
        }
        if (const auto request = decodeFields<TestProfileRequest>(message.payload())) {
            answerTest(message, *request);
        }
    }
    void answerTest(Hsb_Message& message, const TestProfileRequest& request) {
        requested_ = request.name;
        write_();
        if (result_) {
            EXPECT_EQ(message.reply(MessageFormat::MANAGEMENT, ManagementCode::TEST_PROFILE_RESULTS,
                                    encodeFields(TestProfileResults{*result_, resultName_.value_or(request.name)})),
                      0);
        }
        respond(message, encodeFields(TestProfileResponse{request.handle, status_, request.name}));
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
    EXPECT_EQ(
        done({"callhome", "test", "Operators", "--json"}),
        "{\"profile\":\"Operators\",\"status\":0,\"result\":\"Passed\",\"reason\":\"\","
        "\"recipients\":[{\"address\":\"a@b\",\"state\":\"taken\",\"server\":\"\",\"words\":\"\"},"
        "{\"address\":\"c@d\",\"state\":\"taken\",\"server\":\"\",\"words\":\"\"}],\"nextTry\":null,\"schema\":1}\n");
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
    {1, true, "Failed", GIVEN_UP, "the test message for Operators did not reach a@b, refused by x:25"},
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
        EXPECT_THAT(run({"callhome", "test", "Operators", "--json"}).out,
                    StartsWith(std::string("{\"profile\":\"Operators\",\"status\":0,\"result\":\"") + one.out +
                               "\",\"reason\":\"" + one.reason + "\",\"recipients\":["));
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
        EXPECT_THAT(run({"callhome", "test", "Operators", "--json"}).out,
                    StartsWith("{\"profile\":\"Operators\",\"status\":0,\"result\":\"Failed\",\"reason\":\"" + text +
                               "\",\"recipients\":["));
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

TEST_F(CallhomeTest, tellsEveryRecipientWithTheServersWords) {
    result_ = 1;
    write_ = [&] {
        write(orv_log::kRecipientRetry, "Operators", "a@b", "x", 25);
        write(orv_log::kRecipientRefused, "Operators", "a@b", "x", 25, "451 later");
        write(orv_log::kRecipientRetryFailed, "Operators", "a@b", "y", 25);
        write(orv_log::kRecipientRefused, "Operators", "a@b", "y", 25, "451 much later");
        write(orv_log::kRecipientRefused, "Night", "e@f", "y", 25, "550 somebody else");
    };
    const Outcome result = run({"callhome", "test", "Operators"});

    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_EQ(result.out,
              "Operators: a@b: put off by x:25: \"451 later\"; it is tried once more, at once\n"
              "Operators: a@b: refused by y:25: \"451 much later\"\n"
              "Operators: Failed\n");
    EXPECT_EQ(result.err,
              "switchctl: the test message for Operators did not reach a@b, refused by y:25: \"451 much later\"\n");
    EXPECT_THAT(
        run({"callhome", "test", "Operators", "--json"}).out,
        EndsWith("\"recipients\":[{\"address\":\"a@b\",\"state\":\"refused\",\"server\":\"y:25\",\"words\":\"451 "
                 "much later\"},{\"address\":\"c@d\",\"state\":\"taken\",\"server\":\"\",\"words\":\"\"}],"
                 "\"nextTry\":null,\"schema\":1}\n"));
}

TEST_F(CallhomeTest, tellsWhatFailedAndAtWhatTimeOfDayTheNextTryIs) {
    waiting_ = 1;
    write_ = [&] {
        write(orv_log::kSendFailed, "192.0.2.1", 25, "Connect Error", "Connection refused", "");
        write(orv_log::kRetryLater, "192.0.2.1", 25, 300);
    };
    const Outcome result = run({"callhome", "test", "Operators", "--timeout", "0.3"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_EQ(result.out,
              "Operators: accepted, waiting for the result\n"
              "Operators: the mail server 192.0.2.1:25 has failed: Connect Error, Connection refused\n"
              "Operators: next try at 22:18:20 through 192.0.2.1:25\n");
    EXPECT_EQ(result.err,
              "switchctl: no result for Operators in 0.3 s; next try at 22:18:20 through 192.0.2.1:25 (the mail server "
              "192.0.2.1:25 cannot be reached: Connection refused; mend it: start the mail server; where it is the "
              "wrong one: switchctl callhome setup --smtp KIND-ADDRESS:PORT)\n");
    EXPECT_THAT(
        run({"callhome", "test", "Operators", "--timeout", "0.3", "--json"}).out,
        EndsWith(
            "\"nextTry\":{\"server\":\"192.0.2.1:25\",\"time\":\"2023-11-14T22:18:20.123456+00:00\"},\"schema\":1}\n"));
}

TEST_F(CallhomeTest, tellsAtOnceThatItIsNeverSentAndWhy) {
    done({"attr", "set", "Global.Network.Eth.0.NF-IPAddress="});
    waiting_ = 1;

    const Outcome result = run({"callhome", "test", "Operators", "--timeout", "20"});

    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_THAT(result.err, StartsWith("switchctl: the test message for Operators is not sent: the switch has no "
                                       "management address: orvApp sends nothing until it knows one; mend it: "));
}

TEST_F(CallhomeTest, tellsWhichServerItWaitsForAndForHowLong) {
    open_ = 1;
    traceTo("Main") << "11/14/2023 UTC 22:13:10.000  17 OrvCHMesgQ peekOpen: entry (m0)\n";
    traceTo("SMTPClient") << "11/14/2023 UTC 22:13:10.123  17 OrvSMTPClient recvResponse: SMTP StatusSMTPResponse "
                             "(incl CRLF) {220 x\r\n}\n"
                          << "11/14/2023 UTC 22:13:11.123  17 OrvSMTPClient sendRequest: SMTP Send (incl CRLF) {EHLO "
                             "[192.0.2.9]\r\n}\n";

    const Outcome result = run({"callhome", "test", "Operators", "--timeout", "1.5"});

    const std::string wait = "waiting for the reply to EHLO [192.0.2.9] of 192.0.2.1:25 for 9 s of 300";
    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_THAT(result.out, HasSubstr("\nOperators: " + wait + "\n"));
    EXPECT_EQ(result.err, "switchctl: no result for Operators in 1.5 s; " + wait + "\n");
}

TEST_F(CallhomeTest, saysThatNothingIsTriedWhereNothingIs) {
    const Outcome result = run({"callhome", "test", "Operators", "--timeout", "0.3"});

    EXPECT_EQ(result.err,
              "switchctl: no result for Operators in 0.3 s; orvApp has no message left to send, and its result has not "
              "come\n");
    waiting_ = 3;
    EXPECT_THAT(run({"callhome", "test", "Operators", "--timeout", "0.3"}).err,
                HasSubstr("; 3 messages wait in the queue\n"));
    open_ = 1;
    EXPECT_THAT(run({"callhome", "test", "Operators", "--timeout", "0.3"}).err,
                HasSubstr("; a mail is with the mail server 192.0.2.1:25 now; 3 messages wait\n"));
}

TEST_F(CallhomeTest, isNoSuccessWhenTheMailWentToNobody) {
    done({"attr", "set", "Global.CallhomeDB.Profile.0.NumberOfEmails=0"});
    result_ = 0;
    write_ = [&] { write(orv_log::kNoRecipientAccepted, "x", 25, "Operators"); };

    const Outcome result = run({"callhome", "test", "Operators"});

    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_EQ(result.err,
              "switchctl: the test message for Operators was mailed to nobody: the profile has no address\n");
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
