#include "box/model/ModelFixture.h"

namespace model {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Events : public ModelFixture {};

TEST_F(Events, keepsOnlyKindsThatAreForCallHome) {
    set("Global.CallhomeDB.Profile.0.Level", "Info");
    set("Config.Switch.AdminState", "");  // no state, no message about it
    run();
    const std::size_t before = entries(List::kSend);

    for (const int kind : {1, 4, 15, 16, 17, 31}) {
        event("of kind " + std::to_string(kind), kind);
    }
    EXPECT_EQ(entries(List::kSend), before);

    for (const int kind : {0, 2, 3}) {
        event("of kind " + std::to_string(kind), kind);
    }
    EXPECT_EQ(entries(List::kSend), before + 3);
}

TEST_F(Events, passesOverWhatTheDaemonItselfWrote) {
    run();

    Sw_Log_Type own = record("Successful recovery");
    own.flags = 4096;
    model_.event(now_, own);

    EXPECT_EQ(entries(List::kSend), 0u);
}

TEST_F(Events, reachesTheProfilesOfItsLevelAndBelow) {
    struct Case {
        int kind;
        const char* text;
        std::vector<const char*> levels;  // of the profiles that get it
    };
    const Case cases[] = {{0, "Blade fault in slot 3", {"Info", "Warn", "Critical", "Alarm", "Fault"}},
                          {0, "SYSTEM FAULT", {"Info", "Warn", "Critical", "Alarm", "Fault"}},
                          {0, "CallHome test message - fault", {"Info", "Warn", "Critical", "Alarm", "Fault"}},
                          {0, "Fan 2 has failed", {"Info", "Warn", "Critical", "Alarm"}},
                          {2, "Critical", {"Info", "Warn", "Critical"}},
                          {3, "Warning", {"Info", "Warn"}}};
    for (const Case& one : cases) {
        for (const char* level : {"Info", "Warn", "Critical", "Alarm", "Fault", "None", "alarm"}) {
            Attributes attributes = configured();
            attributes["Global.CallhomeDB.Profile.0.Level"] = level;
            attributes["Config.Switch.AdminState"] = "";
            Model model(attributes);
            model.start(now_);
            model.tick(now_);
            const std::size_t before = model.queue()->list(List::kSend).size();
            model.event(now_, record(one.text, one.kind));
            const bool kept = model.queue()->list(List::kSend).size() > before;
            const bool expected =
                std::find(one.levels.begin(), one.levels.end(), std::string(level)) != one.levels.end();
            EXPECT_EQ(kept, expected) << one.text << ", " << level;
        }
    }
}

TEST_F(Events, areDroppedUntilEverythingIsConfigured) {
    for (const auto& [key, value] :
         std::vector<std::pair<const char*, const char*>>{{"Default.Mfg.AllowCallhome", "False"},
                                                          {"Global.Services.CallhomeEnable", "False"},
                                                          {"Global.Callhome.SMTPEnable", "False"},
                                                          {"Global.Callhome.FromAddr", "<undefined>"},
                                                          {"Global.CallhomeDB.NumberOfProfiles", "0"}}) {
        Attributes attributes = configured();
        attributes[key] = value;
        Model model(attributes);
        model.start(now_);
        model.tick(now_);
        model.event(now_, record("Fan 2 has failed"));
        EXPECT_EQ(model.queue()->list(List::kSend).size(), 0u) << key;
    }
}

TEST_F(Events, thatComeBeforeTheQueueIsOpenFollowWhatWasRestored) {
    run();
    event("restored");
    model_.kill();

    model_.start(now_);
    event("early");
    EXPECT_EQ(entries(List::kEarly), 1u);
    tick();

    EXPECT_EQ(entries(List::kEarly), 0u);
    ASSERT_EQ(entries(List::kSend), 2u);
    EXPECT_EQ(model_.queue()->list(List::kSend).front().message.text, "restored");
    EXPECT_EQ(model_.queue()->list(List::kSend).back().message.text, "early");
}

TEST_F(Events, ofPowerUpAndStateAreWarnings) {
    set("Global.CallhomeDB.Profile.0.Level", "Warn");
    run();

    const auto& send = model_.queue()->list(List::kSend);
    ASSERT_EQ(send.size(), 2u);
    EXPECT_EQ(send.front().message.text, "The switch has powered up and it is operational");
    EXPECT_EQ(send.front().message.id, "8B00.0003");
    EXPECT_EQ(send.back().message.text, "The switch operational state has changed to Online");

    model_.state(now_, "Online");
    EXPECT_EQ(entries(List::kSend), 2u);  // nothing has changed
    model_.state(now_, "Offline");
    EXPECT_EQ(entries(List::kSend), 3u);
}

TEST_F(Events, loseTheirLastLineAndKeepTheirPlace) {
    Sw_Log_Type event = record("Fan 2 has failed\nand more");
    event.slot = 3;
    event.port = 7;
    Message message = ofEvent(event);
    EXPECT_EQ(message.text, "Fan 2 has failed");
    EXPECT_EQ(message.time, "Tue Nov 14 22:13:20.123 UTC 2023");
    EXPECT_EQ(message.id, "0001.0002");
    EXPECT_EQ(message.blade, "Blade: 3");
    EXPECT_EQ(message.port, "7");
    EXPECT_EQ(message.application, "");

    event.kind = 2;
    event.chip = 2;
    event.componentClass = 64;
    message = ofEvent(event);
    EXPECT_EQ(message.asic, "2.7");
    EXPECT_EQ(message.port, "");
    EXPECT_EQ(message.application, "Port");
}

TEST_F(Events, ofTestsAreRefusedWithTheFirstReasonThatHolds) {
    set("Global.Callhome.FromAddr", "<undefined>");
    run();

    model_.testProfile(now_, 9, "Ops");

    EXPECT_THAT(told(),
                ElementsAre("Unable to test profile Ops because the FromEmailAddress has not been configured in "
                            "the CallHome setup"));
    EXPECT_THAT(model_.takeResponses(), ElementsAre(Response{107, word(1) + slot("Ops", 36)},
                                                    Response{102, word(9) + word(0) + slot("Ops", 36)}));
}

TEST_F(Events, ofTestsGoToTheNamedProfileWhateverItsLevel) {
    set("Global.CallhomeDB.Profile.0.Level", "None");
    run();

    model_.testProfile(now_, 9, "Nobody");
    EXPECT_EQ(entries(List::kSend), 0u);
    model_.testProfile(now_, 9, "Ops");
    ASSERT_EQ(entries(List::kSend), 1u);
    EXPECT_EQ(file("send/m0"), "none");
    forget();

    tick();
    EXPECT_THAT(play(), HasSubstr("Text:           CALLHOME TEST PROFILE MESSAGE\r\n"));
    EXPECT_THAT(model_.takeResponses(), ElementsAre(Response{107, word(0) + slot("Ops", 36)}));
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(Events, areNotLookedAtWhileTheNumberOfProfilesIsMissing) {
    model_.removeAttribute("Global.CallhomeDB.NumberOfProfiles");
    run();

    model_.processedInfo(now_, 4);
    model_.profileChange(now_, 5);

    EXPECT_THAT(told(),
                ElementsAre("Unable to provide profile processing information, the CallHome service is updating "
                            "configuration"));
    EXPECT_THAT(model_.takeResponses(),
                ElementsAre(Response{104, word(4) + word(2)}, Response{101, word(5) + word(0)}));
}

}  // namespace
}  // namespace model
