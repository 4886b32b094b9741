// Whatever the bus, the store and the switch hand it, the daemon goes on, and says what it could not use.
#include "testing/callhome/ControllerFixture.h"

#include "platform/wire/DsWire.h"

#include <random>
#include <string_view>

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using Bytes = std::vector<std::uint8_t>;

class BadInput : public ControllerFixture {
protected:
    // After all that came before, an event is mailed.
    void expectThatItStillMails() {
        switch_->faults().clear();
        releaseAll();
        restartSwitch();
        for (const auto& [key, value] : good_) {
            switch_->set(key, value);
        }
        startDaemon();
        switch_->tick(2);
        switch_->publishLog(0, 0x00010002, "Blade fault after all that");
        const auto arrived = [this] {
            for (const ScriptedMail& mail : primary_.mailsTaken()) {
                if (mail.text.find("Blade fault after all that") != std::string::npos) {
                    return true;
                }
            }
            return false;
        };
        for (int second = 0; second < 300 && !arrived(); ++second) {
            switch_->tick();
            static_cast<void>(switch_->runUntil(arrived, std::chrono::milliseconds(20)));
        }
        EXPECT_TRUE(switch_->runUntil(arrived));
    }
    void startReadyAndKeepAttributes() {
        startReady();
        std::vector<Attribute> attributes;
        ASSERT_EQ(switch_->store().list("", attributes), 0);
        for (const Attribute& attribute : attributes) {
            good_.push_back({attribute.key, attribute.value});
        }
    }

    std::vector<std::pair<std::string, std::string>> good_;
};

// A message as somebody who knows the formats might send it by mistake.
class RandomMessages {
public:
    explicit RandomMessages(unsigned seed) : random_(seed) {}

    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_() % limit); }

    std::uint16_t format() { return pick({2, 3, 4, 103, 105, 108, 16405, 0, 65535}); }
    std::uint16_t code(std::uint16_t format) {
        switch (format) {
            case 2:
                return pick({1, 2, 3, 4, 5});
            case 3:
                return 0;
            case 4:
                return pick({1, 2, 3, 4, 5, 51, 52});
            case 103:
                return pick({1, 2, 9, 9, 2, 20, 21, 50});
            case 105:
                return pick({1, 2, 96, 97, 98});
            case 108:
                return pick({0, 0, 1, 5, 100});
            default:
                return pick({1, 2, 3, 4, 5, 6, 7, 101, 107});
        }
    }
    // A payload that this code may have, or nearly so.
    Bytes payload(std::uint16_t format, std::uint16_t code) {
        Bytes bytes = below(4) == 0 ? noise(below(400)) : plausible(format, code);
        switch (below(4)) {
            case 0:
                bytes.resize(below(static_cast<std::uint32_t>(bytes.size()) + 1));
                break;
            case 1:
                if (!bytes.empty()) {
                    bytes[below(static_cast<std::uint32_t>(bytes.size()))] = static_cast<std::uint8_t>(below(256));
                }
                break;
            default:
                break;
        }
        return bytes;
    }

private:
    std::uint16_t pick(std::initializer_list<int> values) {
        return static_cast<std::uint16_t>(values.begin()[below(static_cast<std::uint32_t>(values.size()))]);
    }
    Bytes noise(std::size_t size) {
        Bytes bytes(size);
        for (std::uint8_t& byte : bytes) {
            byte = static_cast<std::uint8_t>(below(256));
        }
        return bytes;
    }
    std::string text() {
        static const char* const kTexts[] = {"",     "True", "False",      "1",    "0-",     "1-192.0.2.1",
                                             "%s%n", "-1",   "4294967296", "Cron", "3-host", "Operators"};
        return kTexts[below(std::size(kTexts))];
    }
    std::int32_t status() { return static_cast<std::int32_t>(pick({0, 0, 0, 1, 52, 65535})) - (below(8) == 0 ? 1 : 0); }
    DsValue value() {
        static const char* const kKeys[] = {"Global.Callhome.SMTPPort",
                                            "Global.Callhome.FromAddr",
                                            "Global.CallhomeDB.Profile.0.Level",
                                            "Global.CallhomeDB.Profile.0.Capture.0.Type",
                                            "Global.CallhomeDB.NumberOfProfiles",
                                            "no.such.key",
                                            ""};
        return {kKeys[below(std::size(kKeys))], below(5), status(), text()};
    }
    Bytes event() {
        const std::uint32_t category = pick({1, 2, 66, 89, 90, 91});
        Bytes bytes{0, 0, 0, static_cast<std::uint8_t>(category),
                    0, 0, 0, static_cast<std::uint8_t>(pick({0, 3, 56, 1}))};
        Bytes data = noise(pick({0, 1, 8, 12, 140, 311, 312, 400}));
        if (data.size() >= 12 && below(2) == 0) {
            std::fill(data.begin(), data.begin() + 11, std::uint8_t{0});  // equal words, a log type, a small count
            data[11] = static_cast<std::uint8_t>(below(4));
        }
        bytes.insert(bytes.end(), data.begin(), data.end());
        return bytes;
    }
    Bytes plausible(std::uint16_t format, std::uint16_t code) {
        const std::uint32_t id = below(15);
        if (format == 3) {
            return event();
        }
        if (format == 103 && code == 9) {
            DsBulkAnswer answer{id, {}};
            for (std::uint32_t left = below(6); left > 0; --left) {
                answer.attributes.push_back(value());
            }
            return encodeFields(answer);
        }
        if (format == 103 && code == 2) {
            return encodeFields(DsAttributeAnswer{id, value()});
        }
        if (format == 103 && code == 1) {
            return encodeFields(DsStatusAnswer{id, status()});
        }
        return noise(pick({0, 4, 8, 14, 44}));
    }

    std::minstd_rand random_;
};

class BadInputSeed : public BadInput, public testing::WithParamInterface<unsigned> {};

// Messages of every format and code, whole or damaged, asked for or not, in any order, while the store answers late.
TEST_P(BadInputSeed, ofTheBusIsSurvived) {
    constexpr int kMessages = 1500;
    startReadyAndKeepAttributes();
    RandomMessages messages(GetParam());
    for (int i = 0; i < kMessages; ++i) {
        const std::uint16_t format = messages.format();
        const std::uint16_t code = messages.code(format);
        switch_->send(format, code, messages.payload(format, code));
        if (messages.below(50) == 0) {
            switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY), 3);
        }
        if (messages.below(20) == 0) {
            messages.below(2) == 0 ? switch_->bus().release() : switch_->bus().releaseReversed();
            switch_->pump();
        }
        if (messages.below(25) == 0) {
            switch_->tick();
        }
    }
    EXPECT_TRUE(alive());

    expectThatItStillMails();
}

INSTANTIATE_TEST_SUITE_P(Seeds, BadInputSeed, testing::Values(1u, 2u, 3u));

struct OddText {
    const char* name;
    std::string text;
};

class BadInputText : public BadInput, public testing::WithParamInterface<OddText> {};

TEST_P(BadInputText, inEveryAttributeAtOnceIsSurvived) {
    startReadyAndKeepAttributes();
    for (const auto& [key, value] : good_) {
        switch_->set(key, GetParam().text);
    }
    changeProfiles();
    switch_->tick(2);

    EXPECT_TRUE(alive());
    expectThatItStillMails();
}

INSTANTIATE_TEST_SUITE_P(Texts, BadInputText,
                         testing::Values(OddText{"empty", ""}, OddText{"long", std::string(5000, 'x')},
                                         OddText{"format", "%s%n%d"}, OddText{"control", "\n\r\x01\x7f\xff"},
                                         OddText{"negative", "-1"}, OddText{"huge", "4294967296"},
                                         OddText{"prefixed", "1-999.999.999.999"}, OddText{"separator", "\xc2\xa7"},
                                         OddText{"nul", std::string("a\0b", 3)}),
                         [](const auto& test) { return test.param.name; });

TEST_F(BadInput, aTextOfTheStoreEndsAtItsFirstNulSoThatTheMessageCanBeReadAgain) {
    startWithoutSending();
    const std::string profile = "Global.CallhomeDB.Profile.0.";
    switch_->set(profile + "EmailSubject", std::string("Rack\0 seven", 11));
    switch_->set(profile + "EmailList.0", std::string("a@example.com\0", 14));
    changeProfiles();
    switch_->tick(2);
    switch_->publishLog(0, 0x00010002, "Fan");
    switch_->tick(2);
    ASSERT_EQ(queued(), 1u);
    killDaemon();
    restartSwitch();
    primary_.acceptConnections();

    startDaemon();
    switch_->tick(2);

    ASSERT_TRUE(waitForMails(primary_, 1));
    const ScriptedMail mail = primary_.mailsTaken().front();
    EXPECT_THAT(mail.text, AllOf(HasSubstr("] Rack\r\n"), HasSubstr("Text:           Fan\r\n")));
    EXPECT_THAT(mail.recipients, ElementsAre("a@example.com"));
}

// What stays open when an answer is missing or bad; every other part of the configuration ends.
// Kept: nothing reports these as ended.
bool keepsTheCycleOpen(const std::string& key, bool missing) {
    return !missing && (key == "Global.CallhomeDB.NumberOfProfiles" || key == "Oper.Callhome.MarkerData");
}

TEST_F(BadInput, anyOneMissingAttributeEndsTheReadAllTheSame) {
    startReadyAndKeepAttributes();
    for (const auto& [key, value] : good_) {
        SCOPED_TRACE(key);
        switch_->unset(key);
        changeProfiles();
        switch_->tick();

        const std::string config = stateValue("Config");
        switch_->set(key, value);
        if (config != "0") {
            // The count that is not there is a failed answer.
            EXPECT_EQ(key, "Global.CallhomeDB.NumberOfProfiles");
            EXPECT_EQ(config, "0x20");
            restartSwitch();
            startDaemon();
        }
        changeProfiles();
        switch_->tick();
        EXPECT_EQ(stateValue("Config"), "0");
        EXPECT_EQ(stateValue("Condition"), "0x3f");
    }
}

TEST_F(BadInput, anyOneBadStatusEndsTheReadAllTheSame) {
    startReadyAndKeepAttributes();
    for (const auto& [key, value] : good_) {
        for (const std::int32_t status : {-1, 3}) {
            SCOPED_TRACE(key + " " + std::to_string(status));
            switch_->faults().add({FaultKind::BAD_STATUS, FaultOperation::ANY, key, 1, 0, status});
            changeProfiles();
            switch_->tick();
            EXPECT_TRUE(alive());

            const std::string config = stateValue("Config");
            switch_->faults().clear();
            if (config != "0") {
                EXPECT_TRUE(keepsTheCycleOpen(key, false)) << config;
                EXPECT_EQ(config, "0x20");
                restartSwitch();
                startDaemon();
            }
            changeProfiles();
            switch_->tick();
            EXPECT_EQ(stateValue("Config"), "0");
            EXPECT_EQ(stateValue("Condition"), "0x3f");
        }
    }
}

// Answers that were cut off on the way: each kind of answer once.
TEST_F(BadInput, anAnswerThatCannotBeReadIsLoggedAndKeepsTheReadOpen) {
    for (const char* const key :
         {"Default.Mfg.AllowCallhome", "Global.Services.CallhomeEnable", "Global.Callhome.SMTPPort",
          "Global.Callhome.FromAddr", "Global.CallhomeDB.NumberOfProfiles", "Global.CallhomeDB.ProfileList.0"}) {
        SCOPED_TRACE(key);
        if (app_ == nullptr) {
            startReady();
        }
        switch_->forgetEventLog();
        switch_->faults().add({FaultKind::CORRUPT, FaultOperation::ANY, key, 1, 0, 0});
        changeProfiles();
        switch_->tick();

        EXPECT_THAT(switch_->eventTexts(15),
                    Contains(testing::MatchesRegex("DS response error rc [1-9][0-9]*\\(OrvApp:[0-9]+\\)")));
        EXPECT_NE(stateValue("Config"), "0");
        EXPECT_TRUE(alive());
        switch_->faults().clear();
        restartSwitch();
        startDaemon();
        switch_->tick();
        EXPECT_EQ(stateValue("Config"), "0");
    }
}

TEST_F(BadInput, unsolicitedAnswersUnderEveryIdChangeNoSetting) {
    startReady();
    const std::vector<std::string> before = state();
    for (std::uint32_t id = 0; id < 16; ++id) {
        switch_->send(MessageFormat::DS, DsCode::BULK_REPLY, encodeFields(DsBulkAnswer{id, {}}));
        switch_->send(MessageFormat::DS, DsCode::STATUS_REPLY, encodeFields(DsStatusAnswer{id, 0}));
    }
    // Not those of single reads, which are taken as they come.
    for (const std::uint32_t id : {0u, 5u, 10u, 13u, 14u}) {
        switch_->send(MessageFormat::DS, DsCode::ATTRIBUTE_REPLY, encodeFields(DsAttributeAnswer{id, {}}));
    }

    EXPECT_EQ(state(), before);
}

}  // namespace
