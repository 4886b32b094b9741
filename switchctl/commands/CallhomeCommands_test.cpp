#include "platform/wire/Wire.h"
#include "testing/switchctl/SwitchctlTest.h"

#include <fstream>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using CallhomeRequests = SwitchctlDaemonTest;

struct PlainCase {
    const char* command;
    std::uint16_t code;
    const char* done;
};

constexpr PlainCase PLAIN[] = {
    {"profile-change", 1, "done: settings and profiles are being read anew\n"},
    {"clear-queue", 3, "done: queued messages are discarded\n"},
    {"changeover", 5, "done: mails go through the other mail server\n"},
};

TEST_F(CallhomeRequests, areSentWithAHandleAndWaitForTheirResponse) {
    for (const PlainCase& one : PLAIN) {
        requests_.clear();
        EXPECT_EQ(done({"callhome", one.command}), one.done);
        EXPECT_EQ(done({"--json", "callhome", one.command}), "{\"status\":0,\"schema\":1}\n") << one.command;
        EXPECT_THAT(requestCodes(), ElementsAre(one.code, one.code));
        EXPECT_EQ(requests_[0].payload().size(), 8u);
    }
}

struct RefusalCase {
    const char* command;
    std::uint32_t status;
    const char* reason;
};

constexpr RefusalCase REFUSALS[] = {
    {"processed", 2, "refused: configuration is being updated (2)"},
    {"clear-queue", 4, "refused: the queue cannot be cleared (4)"},
    {"processed", 5, "refused: orvApp is out of memory (5)"},
    {"changeover", 7, "refused: there is no other mail server to change to (7)"},
    {"profile-change", 7, "refused: there is no other mail server to change to, or configuration is being updated (7)"},
    {"clear-queue", 99, "refused: orvApp does not say why (99)"},
};

TEST_F(CallhomeRequests, tellTheReasonInWordsWhenTheDaemonRefusesThem) {
    for (const RefusalCase& one : REFUSALS) {
        status_ = one.status;
        const Outcome result = run({"callhome", one.command});

        EXPECT_EQ(result.status, ExitStatus::REFUSED);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, std::string("switchctl: ") + one.reason + "\n");
        EXPECT_EQ(run({"callhome", one.command, "--json"}).out,
                  std::string("{\"error\":\"refused\",\"reason\":\"") + one.reason +
                      "\",\"status\":" + std::to_string(one.status) + ",\"schema\":1}\n");
    }
}

class ChangeoverDuringUpdate : public SwitchctlDaemonTest {
protected:
    void answer(Hsb_Message& message) override {
        write(orv_log::kChangeoverUpdating);
        SwitchctlDaemonTest::answer(message);
    }
};

TEST_F(ChangeoverDuringUpdate, isToldApartFromTheLackOfAnotherServer) {
    status_ = 7;

    EXPECT_EQ(run({"callhome", "changeover"}).err, "switchctl: refused: configuration is being updated (7)\n");
}

TEST_F(CallhomeRequests, giveUpWhenNoResponseComes) {
    daemon_.onMessage = nullptr;

    const Outcome result = run({"callhome", "changeover", "--timeout", "0.3"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_EQ(result.err, "switchctl: orvApp did not answer in 0.3 s; it may still be done\n");
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
            const auto handle = decodeFields<ManagementRequest>(message.payload())->handle;
            respond(message, encodeFields(InfoResponse{handle, 0, block_}));
        }
    }
    std::vector<std::uint8_t> block_;
};

TEST_F(CallhomeInformation, showsTheQueue) {
    block_ = WireWriter().u32(0).u32(0).u32(4711).u32(3).u32(1).take();

    EXPECT_EQ(done({"callhome", "queue"}),
              "in use   4711 of 5120000 bytes\n"
              "waiting  3 of 100 messages\n"
              "open     1 messages\n");
    EXPECT_EQ(done({"callhome", "queue", "--json"}),
              "{\"bytesInUse\":4711,\"waiting\":3,\"open\":1,\"bytesAllowed\":5120000,\"messagesAllowed\":100,"
              "\"schema\":1}\n");
}

TEST_F(CallhomeInformation, showsTheQueueWithoutQuotasThatAreNotSet) {
    block_ = WireWriter().u32(0).u32(0).u32(4711).u32(3).u32(1).take();
    done({"attr", "unset", "Global.Callhome.FilesAllowed", "Global.Callhome.FileSystemSpaceAllowed"});

    EXPECT_EQ(done({"callhome", "queue"}), "in use   4711 bytes\nwaiting  3 messages\nopen     1 messages\n");
    EXPECT_EQ(
        done({"callhome", "queue", "--json"}),
        "{\"bytesInUse\":4711,\"waiting\":3,\"open\":1,\"bytesAllowed\":null,\"messagesAllowed\":null,\"schema\":1}\n");
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
              "PROFILE    MESSAGES  LAST\n"
              "Operators  12        Tue Nov 14 22:13:20 UTC 2023\n"
              "Lab        0         never\n");
    EXPECT_EQ(done({"callhome", "processed", "--json"}),
              "{\"profiles\":[{\"name\":\"Operators\",\"processed\":12,\"last\":\"Tue Nov 14 22:13:20 UTC 2023\"},"
              "{\"name\":\"Lab\",\"processed\":0,\"last\":\"NotApplicable\"}],\"schema\":1}\n");
}

TEST_F(CallhomeInformation, saysWhenThereAreNoProfiles) {
    block_ = WireWriter().zeros(116).take();

    EXPECT_EQ(done({"callhome", "processed"}), "no profiles\n");
    EXPECT_EQ(done({"callhome", "processed", "--json"}), "{\"profiles\":[],\"schema\":1}\n");
}

TEST_F(CallhomeInformation, saysWhenABlockCannotBeRead) {
    block_ = {1, 2, 3};

    EXPECT_EQ(run({"callhome", "queue"}).err, "switchctl: orvApp's queue information cannot be read\n");
    EXPECT_EQ(run({"callhome", "processed"}).err, "switchctl: orvApp's profile information cannot be read\n");
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

TEST_F(CallhomeProbe, printsWhatTheDaemonTracedForItAndNothingElse) {
    const std::string probe =
        "11/14/2023 UTC 22:13:20.123  17 OrvCallHome probe: Entry\n"
        "11/14/2023 UTC 22:13:20.123  17 OrvCallHome probe: CallHome State Information:\nReadyForMessage = 1\n"
        "11/14/2023 UTC 22:13:20.123  17 OrvCHMesgCommon probe:   From = a\x1b[1m\n";
    std::ofstream(switch_.root().at("/tmp/orv.out.Main")) << "before\n";
    trace_ = "11/14/2023 UTC 22:13:20.122  17 OrvApp processProbeMsg: x\n" + probe +
             "11/14/2023 UTC 22:13:20.124  17 OrvCHMesgQ oneSecondChores: y\n";

    EXPECT_EQ(done({"callhome", "probe"}), probe.substr(0, probe.find('\x1b')) + "\\x1b[1m\n");
    EXPECT_THAT(done({"callhome", "probe", "--json"}), testing::EndsWith("From = a\\u001b[1m\\n\",\"schema\":1}\n"));
}

TEST_F(CallhomeProbe, saysWhenTheTraceIsNotTheDaemons) {
    std::ofstream(switch_.root().at("/tmp/orv.out.Main")) << "of long ago\n";

    const Outcome result = run({"callhome", "probe"});

    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_EQ(result.err, "switchctl: orvApp has answered, but traced nothing in " +
                              switch_.root().at("/tmp/orv.out.Main") + "; is HSB_ROOT the daemon's?\n");
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
    EXPECT_EQ(done({"callhome", "request", "--code", "1", "--hex", "00", "--json"}), "{\"sent\":true,\"schema\":1}\n");

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
