// The six management requests: their answers byte by byte, and what is refused.
#include "MessageCodes.h"
#include "testing/PayloadPieces.h"
#include "testing/app/DaemonFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Bytes = std::vector<std::uint8_t>;

class OrvCallHomeManagement : public DaemonFixture {
protected:
    // A request with a handle of its own, straight to the daemon.
    void request(std::uint16_t code, const Bytes& more = {}) {
        switch_->send(MessageFormat::MANAGEMENT, code, joined({{0x0A, 0x0B, 0x0C, code_(code)}, Bytes(4, 0xEE), more}));
    }
    // The payloads of all answers with this code, as they left the daemon.
    std::vector<Bytes> answers(std::uint16_t code) {
        std::vector<Bytes> found;
        for (const auto& [sent, payload] : sent_) {
            if (sent == code) {
                found.push_back(payload);
            }
        }
        return found;
    }
    std::vector<std::uint16_t> answerCodes() {
        std::vector<std::uint16_t> codes;
        for (const auto& [code, payload] : sent_) {
            codes.push_back(code);
        }
        return codes;
    }
    static std::uint8_t code_(std::uint16_t code) { return static_cast<std::uint8_t>(code); }
    static Bytes handle(std::uint16_t code) { return {0x0A, 0x0B, 0x0C, code_(code)}; }
    static Bytes word(std::uint32_t value) {
        return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
                static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
    }
    void record() {
        sent_.clear();
        switch_->forgetEventLog();
        switch_->bus().observe([this](const Hsb_Message& message) {
            if (message.format() == MessageFormat::MANAGEMENT && message.code() > 100) {
                sent_.push_back({message.code(), {message.payload().begin(), message.payload().end()}});
            }
        });
    }
    void holdConfiguration() {
        switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY));
        request(ManagementCode::PROFILE_CHANGE);
        record();
    }

    // Of the configuration only the identity is outstanding.
    void holdIdentity() {
        switch_->bus().hold([](const Hsb_Message& message) {
            return message.format() == MessageFormat::DS && message.code() == DsCode::BULK_REPLY &&
                   message.payload()[3] == 0;
        });
        request(ManagementCode::PROFILE_CHANGE);
        record();
        ASSERT_EQ(traced("OrvCallHome configComplete: Config:").back(), "OrvCallHome configComplete: Config: 0x8");
    }

    std::vector<std::pair<std::uint16_t, Bytes>> sent_;
};

TEST_F(OrvCallHomeManagement, answersAProfileChangeAtOnceAndThenReads) {
    startReady();
    record();
    request(1);

    EXPECT_THAT(answers(101), ElementsAre(joined({handle(1), word(0)})));
    EXPECT_THAT(traced("received ORV_API_MSG_CH_PROFILE_CHANGE message"), SizeIs(1));
    EXPECT_THAT(traced("OrvCallHome readConfig: Entry"), SizeIs(2));
}

TEST_F(OrvCallHomeManagement, answersATestRequestAndLaterItsResult) {
    startReady();
    record();
    request(2, paddedText("Operators", 36));

    EXPECT_THAT(answers(102), ElementsAre(joined({handle(2), word(0), paddedText("Operators", 36)})));
    EXPECT_THAT(traced("received ORV_API_MSG_CH_TEST_PROFILE_CMD message for profile Operators"), SizeIs(1));
    switch_->tick();
    ASSERT_TRUE(switch_->runUntil([this] { return !answers(107).empty(); }));
    EXPECT_THAT(answers(107), ElementsAre(joined({word(0), paddedText("Operators", 36)})));
    ASSERT_THAT(primary_.mailsTaken(), SizeIs(1));
    EXPECT_NE(primary_.mailsTaken()[0].text.find("Text:           CALLHOME TEST PROFILE MESSAGE\r\n"),
              std::string::npos);
}

TEST_F(OrvCallHomeManagement, aTestOfAProfileThatDoesNotExistIsDeletedWithoutAWord) {
    startReady();
    record();
    request(2, paddedText("Nobody", 36));
    switch_->tick(3);

    EXPECT_THAT(answers(102), ElementsAre(joined({handle(2), word(0), paddedText("Nobody", 36)})));
    EXPECT_THAT(answers(107), IsEmpty());
    EXPECT_THAT(operatorLog(), IsEmpty());
    EXPECT_EQ(primary_.connections(), 0u);
}

struct Refusal {
    const char* name;
    const char* key;
    const char* value;
    std::uint32_t id;
    const char* text;
};

class OrvCallHomeTestRefusal : public OrvCallHomeManagement, public testing::WithParamInterface<Refusal> {};

TEST_P(OrvCallHomeTestRefusal, isLoggedThenReportedAsFailedThenAnswered) {
    startReady();
    switch_->set(GetParam().key, GetParam().value);
    request(1);
    record();
    request(2, paddedText("Operators", 36));

    EXPECT_THAT(operatorLog(), ElementsAre(LogLine{2, GetParam().id, GetParam().text}));
    EXPECT_THAT(answerCodes(), ElementsAre(107, 102));
    EXPECT_THAT(answers(107), ElementsAre(joined({word(1), paddedText("Operators", 36)})));
    EXPECT_THAT(answers(102), ElementsAre(joined({handle(2), word(0), paddedText("Operators", 36)})));
}

INSTANTIATE_TEST_SUITE_P(
    Reasons, OrvCallHomeTestRefusal,
    testing::Values(
        Refusal{"notAllowed", "Default.Mfg.AllowCallhome", "False", 0x8b000005u,
                "Unable to test profile Operators because the CallHome service is disabled"},
        Refusal{"disabled", "Global.Services.CallhomeEnable", "False", 0x8b000005u,
                "Unable to test profile Operators because the CallHome service is disabled"},
        Refusal{"noServer", "Global.Callhome.SMTPEnable", "False", 0x8b000006u,
                "Unable to test profile Operators because the SMTP addresses are defaults or disabled in the CallHome "
                "setup"},
        Refusal{"noSender", "Global.Callhome.FromAddr", "<undefined>", 0x8b000007u,
                "Unable to test profile Operators because the FromEmailAddress has not been configured in the "
                "CallHome setup"}),
    [](const auto& test) { return test.param.name; });

// The count's failure leaves the profile part open while messages are taken.
TEST_F(OrvCallHomeManagement, refusesATestWhileTheConfigurationIsBeingUpdated) {
    startReady();
    switch_->faults().add({FaultKind::BAD_STATUS, FaultOperation::GET, "Global.CallhomeDB.NumberOfProfiles", 1, 0, 3});
    request(1);
    record();
    request(2, paddedText("Operators", 36));

    EXPECT_THAT(operatorLog(), ElementsAre(LogLine{2, 0x8b000008u,
                                                   "Unable to test profile Operators because the CallHome service is "
                                                   "updating configuration"}));
    EXPECT_THAT(answerCodes(), ElementsAre(107, 102));
}

TEST_F(OrvCallHomeManagement, refusesOneTestACall) {
    startReady();
    switch_->set("Global.Callhome.SMTPEnable", "False");
    holdConfiguration();
    request(2, paddedText("first", 36));
    request(2, paddedText("second", 36));
    EXPECT_THAT(operatorLog(), IsEmpty());
    switch_->bus().clearFaults();
    switch_->bus().release();
    switch_->pump();
    EXPECT_THAT(operatorLog(), IsEmpty());  // both wait for the next call

    const auto refusal = [](const std::string& name) {
        return LogLine{2, 0x8b000006u,
                       "Unable to test profile " + name +
                           " because the SMTP addresses are defaults or disabled in the CallHome setup"};
    };
    switch_->tick();
    EXPECT_THAT(operatorLog(), ElementsAre(refusal("first")));
    switch_->tick();
    EXPECT_THAT(operatorLog(), ElementsAre(refusal("first"), refusal("second")));
}

TEST_F(OrvCallHomeManagement, logsAResultThatCannotBeSent) {
    startReady();
    switch_->set("Global.Services.CallhomeEnable", "False");
    request(1);
    record();
    switch_->bus().refuse(LoopbackBus::messages(MessageFormat::MANAGEMENT, 107));
    request(2, paddedText("Operators", 36));

    EXPECT_THAT(operatorLog(),
                ElementsAre(LogLine{2, 0x8b000005u,
                                    "Unable to test profile Operators because the CallHome service is "
                                    "disabled"},
                            LogLine{2, 0x8b000009u, "Unable to send test result for profile Operators"}));
    EXPECT_THAT(answerCodes(), ElementsAre(102));
}

TEST_F(OrvCallHomeManagement, clearsTheQueue) {
    primary_.refuseConnections();
    startReady();
    switch_->publishLog(0, 0x00010002, "Blade fault one");
    switch_->publishLog(0, 0x00010002, "Blade fault two");
    record();
    request(3);

    EXPECT_THAT(answers(103), ElementsAre(joined({handle(3), word(0)})));
    EXPECT_THAT(traced("received ORV_API_MSG_CH_CLEAR_QUEUE_CMD message"), SizeIs(1));
    EXPECT_THAT(root_.list("/ostrel/conf/orv/callHome/queues/send"), ElementsAre("order"));
}

TEST_F(OrvCallHomeManagement, tellsWhatWasProcessedForEachProfile) {
    primary_.refuseConnections();
    addProfile({.name = "Faults", .level = "Fault"});
    startReady();
    switch_->publishLog(0, 0x00010002, "Blade fault one");
    switch_->publishLog(0, 0x00010002, "an alarm");
    record();
    request(4);

    const auto time = [](const std::string& text) {
        Bytes bytes(text.begin(), text.end());
        bytes.resize(64, 0);
        return bytes;
    };
    EXPECT_THAT(answers(104),
                ElementsAre(joined({handle(4), word(0), Bytes(8, 0), word(2), paddedText("Faults", 36), word(1),
                                    time("Tue Nov 14 22:13:21 UTC 2023"), paddedText("Operators", 36), word(2),
                                    time("Tue Nov 14 22:13:21 UTC 2023")})));
}

TEST_F(OrvCallHomeManagement, tellsOfNoProfilesWithOneZeroEntry) {
    startDaemon();
    record();
    request(4);

    EXPECT_THAT(answers(104), ElementsAre(joined({handle(4), word(0), Bytes(116, 0)})));
}

TEST_F(OrvCallHomeManagement, refusesProcessedInformationWhileProfilesAreBeingRead) {
    startReady();
    holdConfiguration();
    request(4);

    EXPECT_THAT(operatorLog(), ElementsAre(LogLine{2, 0x8b00000au,
                                                   "Unable to provide profile processing information, the CallHome "
                                                   "service is updating configuration"}));
    EXPECT_THAT(answers(104), ElementsAre(joined({handle(4), word(2)})));
}

TEST_F(OrvCallHomeManagement, changesServersOnRequest) {
    useServer("1", secondary_);
    startReady();
    record();
    request(5);

    EXPECT_THAT(answers(105), ElementsAre(joined({handle(5), word(0)})));
    EXPECT_THAT(traced("received ORV_API_MSG_CH_CHANGEOVER_CMD message"), SizeIs(1));
    EXPECT_EQ(switch_->attribute("Oper.Callhome.ActiveSMTPPort"), std::to_string(secondary_.port()));
}

TEST_F(OrvCallHomeManagement, cannotChangeToAServerThatIsNotThere) {
    startReady();
    record();
    request(5);

    EXPECT_THAT(answers(105), ElementsAre(joined({handle(5), word(7)})));
}

TEST_F(OrvCallHomeManagement, refusesAChangeoverWhileServersAreBeingRead) {
    startReady();
    holdConfiguration();
    request(5);

    EXPECT_THAT(operatorLog(), ElementsAre(LogLine{2, 0x8b00000bu,
                                                   "Unable to change SMTP servers because the CallHome service is "
                                                   "updating configuration"}));
    EXPECT_THAT(answers(105), ElementsAre(joined({handle(5), word(7)})));
}

TEST_F(OrvCallHomeManagement, answersInformationAndChangeoverWhileOnlyTheIdentityIsBeingRead) {
    useServer("1", secondary_);
    startReady();
    holdIdentity();
    request(4);
    request(5);

    EXPECT_THAT(operatorLog(), IsEmpty());
    Bytes never{'N', 'o', 't', 'A', 'p', 'p', 'l', 'i', 'c', 'a', 'b', 'l', 'e'};
    never.resize(64, 0);
    EXPECT_THAT(
        answers(104),
        ElementsAre(joined({handle(4), word(0), Bytes(8, 0), word(1), paddedText("Operators", 36), word(0), never})));
    EXPECT_THAT(answers(105), ElementsAre(joined({handle(5), word(0)})));
    EXPECT_EQ(switch_->attribute("Oper.Callhome.ActiveSMTPPort"), std::to_string(secondary_.port()));
}

TEST_F(OrvCallHomeManagement, takesATestWhileOnlyTheIdentityIsBeingRead) {
    startReady();
    holdIdentity();
    request(2, paddedText("Operators", 36));

    EXPECT_THAT(operatorLog(), IsEmpty());
    EXPECT_THAT(answerCodes(), ElementsAre(102));
    switch_->bus().clearFaults();
    switch_->bus().release();
    switch_->tick();
    ASSERT_TRUE(switch_->runUntil([this] { return !answers(107).empty(); }));
    EXPECT_THAT(answers(107), ElementsAre(joined({word(0), paddedText("Operators", 36)})));
}

TEST_F(OrvCallHomeManagement, tellsTheFillOfTheQueue) {
    primary_.answer(MailStage::kGreeting, ScriptedReply::silence());  // the first mail stays open
    startReady();
    switch_->publishLog(0, 0x00010002, "Blade fault one");
    switch_->publishLog(0, 0x00010002, "Blade fault two");
    switch_->tick();
    ASSERT_TRUE(switch_->runUntil([this] { return primary_.connections() == 1; }));
    record();
    request(6);

    ASSERT_THAT(answers(106), SizeIs(1));
    const Bytes answer = answers(106)[0];
    ASSERT_EQ(answer.size(), 28u);
    EXPECT_EQ(Bytes(answer.begin(), answer.begin() + 16), joined({handle(6), word(0), word(0), word(0)}));
    EXPECT_EQ(Bytes(answer.begin() + 20, answer.end()), joined({word(1), word(1)}));
    // Each is charged its size on flash and 164 bytes.
    const std::uint32_t space =
        std::uint32_t{answer[16]} << 24 | std::uint32_t{answer[17]} << 16 | std::uint32_t{answer[18]} << 8 | answer[19];
    EXPECT_GT(space, 2u * (164 + 200));
    EXPECT_LT(space, 2u * (164 + 800));
    EXPECT_THAT(traced("received ORV_API_MSG_CH_MESG_Q_INFO message"), SizeIs(1));
    primary_.answer(MailStage::kGreeting, ScriptedReply::hangUp());
}

}  // namespace
