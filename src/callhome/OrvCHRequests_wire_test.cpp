// The management requests as an operator's program sends them: every length, any handle, at any time.
#include "testing/PayloadPieces.h"
#include "testing/callhome/ControllerFixture.h"
#include "word_order.h"

#include <span>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Bytes = std::vector<std::uint8_t>;

struct Request {
    std::uint16_t code;
    const char* name;
    std::size_t length;
};

constexpr Request kRequests[] = {
    {1, "PROFILE_CHANGE", 8},         {2, "TEST_PROFILE_CMD", 44}, {3, "CLEAR_QUEUE_CMD", 8},
    {4, "PROFILE_PROCESSED_INFO", 8}, {5, "CHANGEOVER_CMD", 8},    {6, "MESG_Q_INFO", 8},
};

Bytes word(std::uint32_t value) {
    Bytes bytes;
    appendBigEndian32(bytes, value);
    return bytes;
}

using Answer = std::pair<std::uint16_t, Bytes>;

class OrvCallHomeRequests : public ControllerFixture {
protected:
    // Keeps the codes and payloads of what the daemon answers from now on.
    void record() {
        sent_.clear();
        switch_->forgetEventLog();
        switch_->bus().observe([this](const Hsb_Message& message) {
            if (message.format() == MessageFormat::MANAGEMENT && message.code() > 100) {
                sent_.push_back({message.code(), {message.payload().begin(), message.payload().end()}});
            }
        });
    }
    void request(std::uint16_t code, std::uint32_t handle, const std::string& name = "Nobody") {
        Bytes payload = joined({word(handle), word(0xEEEEEEEEu)});
        if (code == ManagementCode::TEST_PROFILE) {
            payload = joined({payload, paddedText(name, 36)});
        }
        switch_->send(MessageFormat::MANAGEMENT, code, payload);
    }

    // The messages on the send queue, as the daemon tells them; a test has no file of its own.
    std::uint32_t inQueue() {
        const std::vector<Answer> kept = sent_;
        record();
        request(ManagementCode::MESG_Q_INFO, 0);
        const Bytes block = sent_.size() == 1 ? sent_[0].second : Bytes(28, 0xFF);
        sent_ = kept;
        return bigEndian32(std::span(block).subspan(20)) + bigEndian32(std::span(block).subspan(24));
    }

    std::vector<Answer> sent_;
};

TEST_F(OrvCallHomeRequests, ofEveryWrongLengthAreLoggedAndNotAnswered) {
    startReady();
    for (const Request& request : kRequests) {
        for (std::size_t length = 0; length <= request.length + 8; ++length) {
            if (length == request.length) {
                continue;
            }
            SCOPED_TRACE(std::string(request.name) + "/" + std::to_string(length));
            record();
            switch_->send(MessageFormat::MANAGEMENT, request.code, Bytes(length, 0x41));
            EXPECT_THAT(sent_, IsEmpty());
            EXPECT_THAT(switch_->eventLog(),
                        ElementsAre(LogLine{15, 0x8B000001u,
                                            "Error in ORV_API_MSG_CH_" + std::string(request.name) + " message"}));
        }
    }
}

// An empty switch: every byte of every answer is known.
TEST_F(OrvCallHomeRequests, echoAnyHandle) {
    startDaemon();
    switch_->tick();
    for (const std::uint32_t handle : {0u, 1u, 0x01020304u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(handle);
        record();
        for (const Request& each : kRequests) {
            request(each.code, handle);
        }

        EXPECT_THAT(sent_, ElementsAre(Answer{101, joined({word(handle), word(0)})},
                                       // No service: the result precedes the answer.
                                       Answer{107, joined({word(1), paddedText("Nobody", 36)})},
                                       Answer{102, joined({word(handle), word(0), paddedText("Nobody", 36)})},
                                       Answer{103, joined({word(handle), word(0)})},
                                       Answer{104, joined({word(handle), word(0), Bytes(116, 0)})},
                                       Answer{105, joined({word(handle), word(7)})},
                                       Answer{106, joined({word(handle), word(0), Bytes(20, 0)})}));
    }
}

TEST_F(OrvCallHomeRequests, duringAReadAreAnsweredByWhatMayBeDoneThen) {
    startReady();
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY));
    changeProfiles();
    record();
    for (const Request& each : kRequests) {
        request(each.code, each.code);
    }

    EXPECT_THAT(sent_, ElementsAre(Answer{101, joined({word(1), word(0)})},
                                   Answer{102, joined({word(2), word(0), paddedText("Nobody", 36)})},
                                   Answer{103, joined({word(3), word(0)})}, Answer{104, joined({word(4), word(2)})},
                                   Answer{105, joined({word(5), word(7)})},
                                   Answer{106, joined({word(6), word(0), Bytes(20, 0)})}));
    EXPECT_EQ(stateValue("ConfigRequestsPending"), "1");
    releaseAll();
    EXPECT_EQ(stateValue("ConfigRequestsPending"), "0");
    EXPECT_EQ(stateValue("Config"), "0");
}

TEST_F(OrvCallHomeRequests, beforeManagementIsKnownAreDoneButNotAnswered) {
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::CNS, CnsCode::LOOKUP_RESPONSE));
    startDaemon();
    const std::size_t reads = count("OrvCallHome readConfig: Entry");
    record();
    for (const Request& each : kRequests) {
        request(each.code, each.code);
    }
    EXPECT_THAT(sent_, IsEmpty());
    EXPECT_EQ(count("OrvCallHome readConfig: Entry"), reads + 1);
    EXPECT_THAT(operatorLog(), ElementsAre(LogLine{2, 0x8b000005u,
                                                   "Unable to test profile Nobody because the CallHome service is "
                                                   "disabled"},
                                           LogLine{2, 0x8b000009u, "Unable to send test result for profile Nobody"}));

    releaseAll();
    request(ManagementCode::MESG_Q_INFO, 9);
    EXPECT_THAT(sent_, ElementsAre(Answer{106, joined({word(9), word(0), Bytes(20, 0)})}));
}

TEST_F(OrvCallHomeRequests, ofABurstAreAllAnsweredInOrder) {
    startReady();
    record();
    constexpr std::uint32_t kBurst = 1000;
    for (std::uint32_t i = 0; i < kBurst; ++i) {
        const Request& each = kRequests[i % std::size(kRequests)];
        Bytes payload = joined({word(i), word(0)});
        payload.resize(each.length, 0x41);
        Hsb_Message message(MessageFormat::MANAGEMENT, each.code, payload);
        message.destination(switch_->components().named("OrvApp")->address);
        ASSERT_EQ(switch_->switchSide().send(message), 0);  // not delivered yet
    }
    switch_->pump();

    std::vector<std::uint32_t> handles;
    for (const auto& [code, payload] : sent_) {
        EXPECT_EQ(code, 101 + handles.size() % std::size(kRequests));
        handles.push_back(bigEndian32(payload));
    }
    ASSERT_THAT(handles, SizeIs(kBurst));
    for (std::uint32_t i = 0; i < kBurst; ++i) {
        ASSERT_EQ(handles[i], i);
    }
    EXPECT_EQ(stateValue("Config"), "0");
}

// The field may be full; the answer leaves room for a NUL.
TEST_F(OrvCallHomeRequests, takeANameThatFillsItsField) {
    const std::string name(36, 'n');
    startReady();
    record();
    request(ManagementCode::TEST_PROFILE, 5, name);

    EXPECT_THAT(traced("received ORV_API_MSG_CH_TEST_PROFILE_CMD message for profile"),
                ElementsAre("OrvCallHome processOrvCHTestProfileCmdMsg: received ORV_API_MSG_CH_TEST_PROFILE_CMD "
                            "message for profile " +
                            name));
    EXPECT_THAT(sent_, ElementsAre(Answer{102, joined({word(5), word(0), paddedText(std::string(35, 'n'), 36)})}));
}

TEST_F(OrvCallHomeRequests, testTheFirstProfileOfAName) {
    addProfile({.name = "Twins", .emails = {"first@example.com"}});
    addProfile({.name = "Twins", .emails = {"second@example.com"}});
    startReady();
    request(ManagementCode::TEST_PROFILE, 5, "Twins");
    switch_->tick();
    ASSERT_TRUE(waitForMails(primary_, 1));

    EXPECT_THAT(primary_.mailsTaken()[0].recipients, ElementsAre("first@example.com"));
}

TEST_F(OrvCallHomeRequests, distinguishNamesByEveryLetter) {
    startReady();
    record();
    for (const char* const name : {"operators", "Operator", "Operators ", " Operators"}) {
        request(ManagementCode::TEST_PROFILE, 5, name);
    }
    switch_->tick(2);

    EXPECT_THAT(sent_, SizeIs(4));
    EXPECT_EQ(inQueue(), 0u);
}

TEST_F(OrvCallHomeRequests, testNobodyWhereAProfileHasNoRecipients) {
    addProfile({.name = "Silent", .emails = {}});
    startReady();
    record();
    request(ManagementCode::TEST_PROFILE, 5, "Silent");
    switch_->tick(2);

    EXPECT_THAT(sent_, ElementsAre(Answer{102, joined({word(5), word(0), paddedText("Silent", 36)})}));
    EXPECT_EQ(inQueue(), 0u);
}

TEST_F(OrvCallHomeRequests, goOnWithTheNextMessageAfterATestOfNoProfile) {
    startWithoutSending();
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY));
    changeProfiles();
    request(ManagementCode::TEST_PROFILE, 5, "Nobody");
    request(ManagementCode::TEST_PROFILE, 6, "Operators");
    switch_->publishLog(0, 0x00010002, "Blade fault behind two tests");
    releaseAll();
    EXPECT_EQ(inQueue(), 0u);

    switch_->tick();

    EXPECT_EQ(inQueue(), 2u);
}

TEST_F(OrvCallHomeRequests, tellThatATestFailedWhenNobodyTookIt) {
    startReady();
    primary_.answerRecipient("operator@example.com", ScriptedReply::line("550 no such user"));
    record();
    request(ManagementCode::TEST_PROFILE, 5, "Operators");
    switch_->tick();
    ASSERT_TRUE(switch_->runUntil([this] { return sent_.size() == 2; }));

    EXPECT_THAT(sent_, ElementsAre(Answer{102, joined({word(5), word(0), paddedText("Operators", 36)})},
                                   Answer{107, joined({word(1), paddedText("Operators", 36)})}));
}

TEST_F(OrvCallHomeRequests, tellThatAWaitingTestWasCleared) {
    primary_.refuseConnections();
    startReady();
    record();
    request(ManagementCode::TEST_PROFILE, 5, "Operators");
    request(ManagementCode::CLEAR_QUEUE, 6);

    EXPECT_THAT(sent_, ElementsAre(Answer{102, joined({word(5), word(0), paddedText("Operators", 36)})},
                                   Answer{107, joined({word(2), paddedText("Operators", 36)})},
                                   Answer{103, joined({word(6), word(0)})}));
}

}  // namespace
