// Routing of bus messages by format and code.
#include "MessageCodes.h"
#include "testing/app/DaemonFixture.h"

#include "Hsb_Message.h"
#include "Sw_Log_Type.h"

#include <array>

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

auto logged(int level, const std::string& pattern) {
    return AllOf(Field(&LogLine::level, level), Field(&LogLine::id, 0x8B000001u),
                 Field(&LogLine::text, MatchesRegex(pattern)));
}

class OrvAppMessages : public DaemonFixture {
protected:
    void SetUp() override {
        startDaemon();
        switch_->tick();
        switch_->forgetEventLog();
        traceStart_ = mainTrace().size();
    }

    // Main trace lines since the start of the test, from the module on.
    std::vector<std::string> newTrace() {
        std::vector<std::string> lines = traced("");
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(traceStart_));
        return lines;
    }

    std::size_t traceStart_ = 0;
};

struct Unhandled {
    const char* name;
    std::uint16_t format;
    std::uint16_t code;
    int level;
    const char* text;
};

class OrvAppUnhandled : public OrvAppMessages, public testing::WithParamInterface<Unhandled> {};

TEST_P(OrvAppUnhandled, isLoggedAndDropped) {
    switch_->send(GetParam().format, GetParam().code, {1, 2, 3, 4});

    EXPECT_THAT(switch_->eventLog(), ElementsAre(logged(GetParam().level, GetParam().text)));
}

INSTANTIATE_TEST_SUITE_P(
    Messages, OrvAppUnhandled,
    testing::Values(Unhandled{"format", 77, 5, 15, "OrvApp\\.[0-9]+: Unhandled message format 77, code 5"},
                    Unhandled{"ens", 4, 52, 15, "Unhandled ENS msg 52!!!"},
                    Unhandled{"ds", 103, 3, 15, "OrvApp\\.[0-9]+: Unhandled DS message code 3!!!"},
                    Unhandled{"cmon", 105, 98, 15, "Unhandled Cmon msg 98!!!"},
                    Unhandled{"probe", 108, 5, 31, "Probe command 5 not implemented"},
                    Unhandled{"management", 16405, 7, 15, "unhandled ORV message \\(0x00000007\\) received"},
                    Unhandled{"attribute", 103, 2, 15, "DS response error rc [1-9][0-9]*\\(OrvApp:[0-9]+\\)"},
                    Unhandled{"bulk", 103, 9, 15, "DS response error rc [1-9][0-9]*\\(OrvApp:[0-9]+\\)"},
                    Unhandled{"status", 103, 1, 15,
                              "OrvApp\\.[0-9]+: received an unhandled  id 0 Data Service status \\(0\\) message!!!"}),
    [](const auto& test) { return test.param.name; });

TEST_F(OrvAppMessages, tracesAManagementCodeThatItDoesNotKnowWithAQuestionMark) {
    switch_->send(16405, 7);

    EXPECT_THAT(newTrace(), ElementsAre("OrvApp processOrvMsg: code = ?(7)"));
    EXPECT_THAT(switch_->managementReplies(), IsEmpty());
}

TEST_F(OrvAppMessages, tracesEachManagementRequestByName) {
    const char* const names[] = {"CH Profile Change",         "CH Test Profile Cmd", "CH Clear Queue Cmd",
                                 "CH Profile Processed Info", "CH Changeover Cmd",   "CH Message Queue Info"};
    for (std::uint16_t code = 1; code <= 6; ++code) {
        traceStart_ = mainTrace().size();
        switch_->send(16405, code);
        ASSERT_THAT(newTrace(), SizeIs(testing::Ge(1u)));
        EXPECT_EQ(newTrace().front(),
                  "OrvApp processOrvMsg: code = " + std::string(names[code - 1]) + "(" + std::to_string(code) + ")");
    }
}

TEST_F(OrvAppMessages, answersEveryProbe) {
    std::vector<std::pair<int, int>> replies;
    switch_->bus().observe([&](const Hsb_Message& message) {
        if (message.format() == 108 && message.code() >= 100) {
            replies.push_back({message.format(), message.code()});
        }
    });

    switch_->send(108, 5);
    switch_->send(108, 0);

    EXPECT_THAT(replies, ElementsAre(std::pair(108, 100), std::pair(108, 100)));
}

TEST_F(OrvAppMessages, dropsEventsOfCategory89WithoutAWord) {
    switch_->publishEvent(89, 1, {1});

    EXPECT_THAT(newTrace(), IsEmpty());
    EXPECT_THAT(switch_->eventLog(), IsEmpty());
}

struct StrayEvent {
    std::uint32_t category;
    std::uint32_t number;
    const char* trace;
};

TEST_F(OrvAppMessages, tracesEventNumbersThatItDoesNotKnow) {
    for (const StrayEvent& event : {StrayEvent{2, 57, "OrvApp processCmonEvent: Unhandled Cmon event 57"},
                                    StrayEvent{66, 4, "OrvApp processSMEvent: Unhandled SM event 4"},
                                    StrayEvent{90, 1, "OrvApp processDnsEvent: Unhandled DNS event 1"}}) {
        traceStart_ = mainTrace().size();
        // Straight to the daemon: it has not subscribed to these.
        switch_->send(3, 0,
                      {0, 0, 0, static_cast<std::uint8_t>(event.category), 0, 0, 0,
                       static_cast<std::uint8_t>(event.number), 1, 2, 3});
        EXPECT_THAT(newTrace(), ElementsAre(event.trace));
    }
    EXPECT_THAT(switch_->eventLog(), IsEmpty());
}

TEST_F(OrvAppMessages, logsEventCategoriesThatItDoesNotKnow) {
    switch_->send(3, 0, {0, 0, 0, 91, 0, 0, 0, 1});

    EXPECT_THAT(switch_->eventLog(), ElementsAre(logged(15, "processEventMsg\\(\\) - Unhandled event.category = 91")));
}

// An event as the event server delivers it, to the daemon alone.
std::vector<std::uint8_t> event(std::uint8_t category, std::uint8_t number,
                                const std::vector<std::uint8_t>& data = {}) {
    std::vector<std::uint8_t> payload{0, 0, 0, category, 0, 0, 0, number};
    payload.insert(payload.end(), data.begin(), data.end());
    return payload;
}

TEST_F(OrvAppMessages, refusesEveryEventThatItHasNoUseFor) {
    const std::vector<std::uint8_t> text{'x'};
    for (const auto& [category, number] :
         {std::pair(2, 0), std::pair(2, 57), std::pair(66, 0), std::pair(66, 4), std::pair(89, 0), std::pair(89, 56),
          std::pair(90, 1), std::pair(90, 3), std::pair(0, 0), std::pair(3, 3), std::pair(91, 0), std::pair(255, 0)}) {
        Hsb_Message message(3, 0, event(static_cast<std::uint8_t>(category), static_cast<std::uint8_t>(number), text));
        EXPECT_EQ(app_->handle_message(&message), -1) << category << "/" << number;
    }
}

TEST_F(OrvAppMessages, takesEveryEventThatItKnows) {
    Sw_Log_Type record;
    record.kind = 4;  // of no interest to CallHome, but a log event
    const std::vector<std::uint8_t> noAddresses{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0};
    const std::vector<std::uint8_t> text{'h', 'o', 's', 't'};
    for (const std::vector<std::uint8_t>& payload :
         {event(1, 0, record.encode()), event(1, 7, record.encode()), event(2, 56, noAddresses), event(66, 3, text),
          event(90, 0, text)}) {
        Hsb_Message message(3, 0, payload);
        EXPECT_EQ(app_->handle_message(&message), 0) << int{payload[3]} << "/" << int{payload[7]};
    }
    EXPECT_THAT(switch_->eventLog(), IsEmpty());
}

// A well-formed answer of the attribute store under this id, by code.
std::vector<std::uint8_t> dsReply(std::uint16_t code, std::uint8_t id) {
    if (code == DsCode::BULK_REPLY) {
        return {0, 0, 0, id, 0, 0, 0, 0};
    }
    if (code == DsCode::STATUS_REPLY) {
        return {0, 0, 0, id, 0, 0, 0, 0};
    }
    std::vector<std::uint8_t> reply = {0, 0, 0, id};
    reply.resize(4 + 255, 0);
    reply.insert(reply.end(), 12, 0);
    return reply;
}

TEST_F(OrvAppMessages, refusesAnswersWithIdsThatTheirRouteDoesNotKnow) {
    switch_->send(103, DsCode::BULK_REPLY, dsReply(DsCode::BULK_REPLY, 6));
    switch_->send(103, DsCode::ATTRIBUTE_REPLY, dsReply(DsCode::ATTRIBUTE_REPLY, 5));
    switch_->send(103, DsCode::STATUS_REPLY, dsReply(DsCode::STATUS_REPLY, 11));

    EXPECT_THAT(switch_->eventLog(),
                ElementsAre(logged(15, "processDsAttributeBulk: unhandled DS id \\(0x00000006\\) received"),
                            logged(15, "processDsAttribute: unhandled DS id \\(0x00000005\\) received"),
                            logged(15, "processDsStatus: unhandled DS id \\(0x0000000b\\) received")));
}

TEST_F(OrvAppMessages, refusesAnswersThatCannotBeRead) {
    for (const std::uint16_t code : {DsCode::STATUS_REPLY, DsCode::ATTRIBUTE_REPLY, DsCode::BULK_REPLY}) {
        for (const std::size_t length : {0u, 3u, 7u}) {
            Hsb_Message message(MessageFormat::DS, code, std::vector<std::uint8_t>(length, 0));
            EXPECT_EQ(app_->handle_message(&message), -1) << code << "/" << length;
        }
    }
    switch_->pump();
    EXPECT_THAT(switch_->eventLog(), SizeIs(9));
}

TEST_F(OrvAppMessages, refusesFailedAnswers) {
    for (const auto id : std::to_array<std::uint8_t>({6, 7, 8, 9})) {
        std::vector<std::uint8_t> payload = dsReply(DsCode::ATTRIBUTE_REPLY, id);
        payload[4 + 255 + 7] = 1;  // the last byte of its status
        Hsb_Message message(MessageFormat::DS, DsCode::ATTRIBUTE_REPLY, payload);
        EXPECT_EQ(app_->handle_message(&message), -1) << int{id};
    }
    std::vector<std::uint8_t> payload = dsReply(DsCode::STATUS_REPLY, 10);
    payload.back() = 1;
    Hsb_Message message(MessageFormat::DS, DsCode::STATUS_REPLY, payload);
    EXPECT_EQ(app_->handle_message(&message), -1);
    switch_->pump();
    EXPECT_THAT(switch_->eventLog(),
                ElementsAre(logged(15, "Error getting DS_GET_CALLHOME_FEATURE_FLAG from DS 1"),
                            logged(15, "Error getting DS_GET_CALLHOME_SERVICES_COMPONENT from DS 1"),
                            logged(15, "Error getting DS_GET_CALLHOME_SWITCH_OPER_STATE from DS 1"),
                            logged(15, "Error getting DS_GET_CALLHOME_NUM_OF_PROFILES from DS 1"),
                            logged(15, "Error setting DS_SET_CALLHOME_WRITE_MARKER in DS 1")));
}

TEST_F(OrvAppMessages, refusesAHostnameWithoutData) {
    Hsb_Message message(3, 0, event(90, 0));
    EXPECT_EQ(app_->handle_message(&message), -1);

    EXPECT_THAT(newTrace(), ElementsAre("OrvCallHome setSwitchHostname: Invalid hostname data received!"));
}

TEST_F(OrvAppMessages, passesId13OnToTheControllerWhichRefusesIt) {
    switch_->send(103, DsCode::ATTRIBUTE_REPLY, dsReply(DsCode::ATTRIBUTE_REPLY, 13));

    EXPECT_THAT(newTrace(), ElementsAre("OrvCallHome processConfig: unhandled id 0x0000000d"));
    EXPECT_THAT(switch_->eventLog(),
                ElementsAre(logged(15, "OrvCallHome::processConfig\\(\\) unhandled id 0x0000000d")));
}

TEST_F(OrvAppMessages, ignoresAnswersForProfilesWhenNoneIsBeingRead) {
    for (const auto id : std::to_array<std::uint8_t>({2, 3, 4, 5})) {
        switch_->send(103, DsCode::BULK_REPLY, dsReply(DsCode::BULK_REPLY, id));
    }
    switch_->send(103, DsCode::STATUS_REPLY, dsReply(DsCode::STATUS_REPLY, 10));

    EXPECT_THAT(switch_->eventLog(), SizeIs(5));
    for (const LogLine& line : switch_->eventLog()) {
        EXPECT_EQ(line.level, 15);
        EXPECT_THAT(line.text, MatchesRegex("DS reply 0x[0-9a-f]{8} ignored, no profile is being read"));
    }
}

TEST_F(OrvAppMessages, survivesEveryFormatAndCodeWithAnyPayload) {
    std::uint32_t random = 12345;
    const auto next = [&random] { return random = random * 1664525u + 1013904223u; };
    for (const auto format : std::to_array<std::uint16_t>({0, 1, 2, 3, 4, 103, 105, 108, 109, 16405, 65535})) {
        for (const auto code : std::to_array<std::uint16_t>({0, 1, 2, 3, 4, 5, 6, 7, 9, 51, 96, 97, 100, 101, 65535})) {
            for (const std::size_t length : {0u, 1u, 4u, 8u, 44u, 312u, 1000u}) {
                std::vector<std::uint8_t> payload(length);
                for (std::uint8_t& byte : payload) {
                    byte = static_cast<std::uint8_t>(next() >> 24);
                }
                switch_->send(format, code, payload);
            }
        }
    }
    switch_->tick(5);

    // Still at work: a probe is answered.
    traceStart_ = mainTrace().size();
    bool answered = false;
    switch_->bus().observe([&](const Hsb_Message& message) { answered |= message.code() == 100; });
    switch_->send(108, 0);
    EXPECT_TRUE(answered);
}

}  // namespace
