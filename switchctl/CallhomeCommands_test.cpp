#include "platform/wire/Wire.h"
#include "switchctl/SwitchctlTest.h"

#include <fstream>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using CallhomeRequests = SwitchctlDaemonTest;

struct PlainCase {
    const char* command;
    std::uint16_t code;
};

constexpr PlainCase PLAIN[] = {{"profile-change", 1}, {"clear-queue", 3}, {"changeover", 5}};

TEST_F(CallhomeRequests, areSentWithAHandleAndWaitForTheirResponse) {
    for (const PlainCase& one : PLAIN) {
        requests_.clear();
        EXPECT_EQ(done({"callhome", one.command}), "done\n") << one.command;
        EXPECT_EQ(done({"--json", "callhome", one.command}), "{\"status\":0}\n") << one.command;
        EXPECT_THAT(requestCodes(), ElementsAre(one.code, one.code));
        EXPECT_EQ(requests_[0].payload().size(), 8u);
    }
}

TEST_F(CallhomeRequests, tellTheStatusThatTheDaemonRefusedThemWith) {
    status_ = 7;

    const Outcome result = run({"callhome", "changeover"});

    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "switchctl: orvApp refused request 5 with status 7 (there is no other mail server to change to, or it is "
              "reading its configuration)\n");
}

TEST_F(CallhomeRequests, tellAStatusThatHasNoName) {
    status_ = 99;

    EXPECT_EQ(run({"callhome", "clear-queue"}).err, "switchctl: orvApp refused request 3 with status 99\n");
}

TEST_F(CallhomeRequests, giveUpWhenNoResponseComes) {
    daemon_.onMessage = nullptr;

    const Outcome result = run({"callhome", "changeover", "--timeout", "1"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_EQ(result.err, "switchctl: orvApp did not answer in 1 s\n");
}

TEST_F(CallhomeRequests, areRefusedWhenTheDaemonDoesNotRun) {
    daemon_.remove();
    switch_.pump();

    const Outcome result = run({"callhome", "queue"});

    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_THAT(result.err, HasSubstr("orvApp"));
}

class CallhomeInformation : public SwitchctlDaemonTest {
protected:
    void answer(Hsb_Message& message) override {
        if (message.format() == MessageFormat::MANAGEMENT) {
            const auto handle = ManagementRequest::decode(message.payload())->handle;
            respond(message, InfoResponse{handle, 0, block_}.encode());
        }
    }
    std::vector<std::uint8_t> block_;
};

TEST_F(CallhomeInformation, showsTheQueue) {
    block_ = WireWriter().u32(0).u32(0).u32(4711).u32(3).u32(1).take();

    EXPECT_EQ(done({"callhome", "queue"}), "bytes in use: 4711\nwaiting: 3\nopen: 1\n");
    EXPECT_EQ(done({"callhome", "queue", "--json"}), "{\"bytesInUse\":4711,\"waiting\":3,\"open\":1}\n");
}

TEST_F(CallhomeInformation, showsWhatEachProfileHasProcessed) {
    block_ = WireWriter()
                 .zeros(8)
                 .u32(2)
                 .fixedText("Operators", 36)
                 .u32(12)
                 .fixedText("Tue Nov 14 22:13:20 UTC 2023", 64)
                 .fixedText("Lab", 36)
                 .u32(0)
                 .fixedText("NotApplicable", 64)
                 .take();

    EXPECT_EQ(done({"callhome", "processed"}),
              "Operators  12  Tue Nov 14 22:13:20 UTC 2023\nLab        0   NotApplicable\n");
    EXPECT_EQ(done({"callhome", "processed", "--json"}),
              "[{\"name\":\"Operators\",\"processed\":12,\"last\":\"Tue Nov 14 22:13:20 UTC 2023\"},"
              "{\"name\":\"Lab\",\"processed\":0,\"last\":\"NotApplicable\"}]\n");
}

TEST_F(CallhomeInformation, saysWhenThereAreNoProfiles) {
    block_ = WireWriter().zeros(116).take();

    EXPECT_EQ(done({"callhome", "processed"}), "no profiles\n");
    EXPECT_EQ(done({"callhome", "processed", "--json"}), "[]\n");
}

TEST_F(CallhomeInformation, saysWhenABlockCannotBeRead) {
    block_ = {1, 2, 3};

    EXPECT_EQ(run({"callhome", "queue"}).err, "switchctl: orvApp's queue information cannot be read\n");
    EXPECT_EQ(run({"callhome", "processed"}).err, "switchctl: orvApp's profile information cannot be read\n");
}

class CallhomeTest : public SwitchctlDaemonTest {
protected:
    void answer(Hsb_Message& message) override {
        const auto request = TestProfileRequest::decode(message.payload());
        if (message.format() != MessageFormat::MANAGEMENT || !request) {
            return;
        }
        requested_ = request->name;
        if (result_) {
            EXPECT_EQ(message.reply(MessageFormat::MANAGEMENT, ManagementCode::TEST_PROFILE_RESULTS,
                                    TestProfileResults{*result_, resultName_.value_or(request->name)}.encode()),
                      0);
        }
        respond(message, TestProfileResponse{request->handle, status_, request->name}.encode());
    }

    std::string requested_;
    std::optional<std::uint32_t> result_;
    std::optional<std::string> resultName_;
};

TEST_F(CallhomeTest, waitsForTheResultAsWell) {
    result_ = 0;

    EXPECT_EQ(done({"callhome", "test", "Operators"}), "Operators: accepted\nOperators: sent\n");
    EXPECT_EQ(done({"callhome", "test", "Operators", "--json"}),
              "{\"profile\":\"Operators\",\"status\":0,\"result\":0}\n");
    EXPECT_EQ(requested_, "Operators");
}

TEST_F(CallhomeTest, tellsThatTheMessageWasNotSent) {
    result_ = 1;

    const Outcome result = run({"callhome", "test", "Operators"});

    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_EQ(result.err,
              "switchctl: the test message for Operators was not sent (status 1); see switchctl log --level 3\n");
}

TEST_F(CallhomeTest, tellsThatTheRequestWasRefused) {
    status_ = 6;

    EXPECT_EQ(run({"callhome", "test", "Operators"}).err,
              "switchctl: orvApp refused request 2 with status 6 (the test message could not be made)\n");
}

TEST_F(CallhomeTest, givesUpWhenNoResultComes) {
    const Outcome result = run({"callhome", "test", "Operators", "--timeout", "1"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_EQ(result.err,
              "switchctl: no result for Operators in 1 s; its mail is still being tried, or orvApp has no such "
              "profile\n");
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

class CallhomeProbe : public SwitchctlDaemonTest {
protected:
    void answer(Hsb_Message& message) override {
        if (message.format() == MessageFormat::PROBE) {
            std::ofstream(switch_.root().at("/tmp/orv.out.Main"), std::ios::app) << trace_;
            EXPECT_EQ(message.reply(MessageFormat::PROBE, ProbeCode::REPLY), 0);
        }
    }
    std::string trace_;
};

TEST_F(CallhomeProbe, printsWhatTheDaemonTraced) {
    const std::string probe =
        "11/14/2023 UTC 22:13:20.123  17 OrvCallHome probe: Entry\n"
        "11/14/2023 UTC 22:13:20.123  17 OrvCallHome probe: CallHome State Information:\nReadyForMessage = 1\n";
    std::ofstream(switch_.root().at("/tmp/orv.out.Main")) << "before\n";
    trace_ = "11/14/2023 UTC 22:13:20.122  17 OrvApp processProbeMsg: x\n" + probe;

    EXPECT_EQ(done({"callhome", "probe"}), probe);
}

TEST_F(CallhomeProbe, saysWhenTheTraceCannotBeRead) {
    daemon_.onMessage = [](Hsb_Message& message) {
        EXPECT_EQ(message.reply(MessageFormat::PROBE, ProbeCode::REPLY), 0);
    };

    EXPECT_EQ(run({"callhome", "probe"}).err, "switchctl: orvApp has answered, but its trace " +
                                                  switch_.root().at("/tmp/orv.out.Main") +
                                                  " cannot be read: No such file or directory\n");
}

using CallhomeRaw = SwitchctlDaemonTest;

TEST_F(CallhomeRaw, requestPrintsTheResponseWhereThereIsOne) {
    const Outcome result = run({"callhome", "request", "--code", "6", "--hex", "00000000 00000000"});

    EXPECT_EQ(result.status, ExitStatus::DONE);
    EXPECT_THAT(result.out, testing::MatchesRegex("response 106: [0-9a-f]{8}00000000\n"));
}

TEST_F(CallhomeRaw, requestShowsAStatusThatIsNotZeroAsItIs) {
    status_ = 7;

    EXPECT_THAT(done({"callhome", "request", "--code", "5", "--hex", "0000000000000000"}),
                testing::MatchesRegex("response 105: [0-9a-f]{8}00000007\n"));
}

TEST_F(CallhomeRaw, requestThatIsNeverAnsweredIsOnlySent) {
    daemon_.onMessage = nullptr;
    daemon_.take();

    EXPECT_EQ(done({"callhome", "request", "--code", "7", "--hex", "0000000000000000"}), "sent\n");
    EXPECT_EQ(done({"callhome", "request", "--code", "1"}), "sent\n");
    EXPECT_EQ(done({"callhome", "request", "--code", "1", "--hex", "00", "--json"}), "{\"sent\":true}\n");

    switch_.pump();
    ASSERT_EQ(daemon_.messages().size(), 3u);
    EXPECT_EQ(daemon_.messages()[0].code(), 7);
    EXPECT_EQ(daemon_.messages()[1].payload().size(), 0u);
    EXPECT_THAT(daemon_.messages()[2].payload(), ElementsAre(0));
}

TEST_F(CallhomeRaw, messageSendsAnythingAtAll) {
    daemon_.onMessage = nullptr;
    daemon_.take();

    EXPECT_EQ(done({"callhome", "message", "--format", "0x4015", "--code", "9", "--hex", "0102"}), "sent\n");

    switch_.pump();
    ASSERT_EQ(daemon_.messages().size(), 1u);
    EXPECT_EQ(daemon_.messages()[0].format(), 0x4015);
    EXPECT_EQ(daemon_.messages()[0].code(), 9);
    EXPECT_THAT(daemon_.messages()[0].payload(), ElementsAre(1, 2));
}

TEST_F(CallhomeRaw, numbersHaveSixteenBits) {
    EXPECT_THAT(run({"callhome", "message", "--format", "65536", "--code", "1"}).err,
                HasSubstr("--format: \"65536\" is not a number from 0 to 65535"));
    EXPECT_EQ(run({"callhome", "request", "--code", "-1"}).status, ExitStatus::WRONG_USAGE);
    EXPECT_EQ(run({"callhome", "request", "--code", "1", "--hex", "xy"}).status, ExitStatus::WRONG_USAGE);
}

}  // namespace
