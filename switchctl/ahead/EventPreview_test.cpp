#include "switchctl/ahead/EventPreview.h"

#include "testing/switchctl/LabSwitch.h"

#include <gmock/gmock.h>

#include <string>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Verdict = EventPreview::Admission::Verdict;

constexpr std::int64_t NOW = 1795000000;

LogRecord eventOf(std::int32_t kind, const std::string& text) {
    LogRecord event;
    event.record.kind = kind;
    event.record.number = 0x00010002;
    event.record.text = text;
    return event;
}

class EventPreviewTest : public testing::Test {
protected:
    EventPreviewTest() {
        lab_.addProfile("Operators", "Alarm", "FullText", {"a@example.com", "b@example.com"});
        lab_.addProfile("Nobody", "Info", "Tsc1", {});
        lab_.addProfile("Faults", "Fault", "Tsc1", {"c@example.com"});
    }

    EventPreview preview(const LogRecord& event) const { return EventPreview::of(event, lab_.attributes, queue_, NOW); }
    // A message of that event waits, as the daemon's file has it.
    void letWait(const LogRecord& event, std::uint32_t number) {
        OrvCHMesg message(OrvCHMesg::kLogEvent);
        message.extractData(event.record);
        QueueEntry entry;
        entry.queue = QueueFiles::SEND;
        entry.number = number;
        entry.message =
            QueuedMessage::parse("<OrvCHMesg>\n<DupCnt>\n0\n</->\n<DupTime>\n\n</->\n<Time>\nx\n</->\n<ID>\n" +
                                 message.ID + "\n</->\n<Level>\nAlarm\n</->\n<Text>\n" + message.Text +
                                 "\n</->\n<EnvelopeList>\n</EnvelopeList>\n</OrvCHMesg>\n");
        ASSERT_TRUE(entry.message->whole());
        queue_.entries.push_back(std::move(entry));
    }

    LabSwitch lab_;
    QueueFiles queue_;
};

TEST_F(EventPreviewTest, tellsWhichProfilesMatchAndWhyTheOthersDoNot) {
    const EventPreview preview = this->preview(eventOf(0, "a fan has stopped"));

    EXPECT_EQ(preview.level, "Alarm");
    ASSERT_THAT(preview.profiles, SizeIs(3));
    EXPECT_TRUE(preview.profiles[0].matches);
    EXPECT_EQ(preview.profiles[1].reason, "it has no recipients");
    EXPECT_EQ(preview.profiles[2].reason, "the event is Alarm, the profile takes Fault and above");
    EXPECT_EQ(preview.admission.verdict, Verdict::TAKEN);
    EXPECT_TRUE(preview.throttles);
    EXPECT_EQ(preview.repeatSeconds, 15u);
}

TEST_F(EventPreviewTest, hasTheMailOfEachProfileThatMatches) {
    const EventPreview preview = this->preview(eventOf(0, "a fan has stopped"));

    ASSERT_THAT(preview.mails, SizeIs(1));
    EXPECT_EQ(preview.mails[0].profile, "Operators");
    EXPECT_EQ(preview.mails[0].sender, "switch@example.com");
    EXPECT_THAT(preview.mails[0].recipients, ElementsAre("a@example.com", "b@example.com"));
    EXPECT_THAT(preview.mails[0].text, HasSubstr("Subject: [CallHome: Operators] Lab switch\r\n"));
    EXPECT_THAT(preview.mails[0].text, HasSubstr("Text:           a fan has stopped\r\n"));
}

TEST_F(EventPreviewTest, leavesOutWhatTheDaemonMailsOfItsOwnStart) {
    lab_.addProfile("All", "Info", "FullText", {"all@example.com"});

    const EventPreview preview = this->preview(eventOf(0, "a fan has stopped"));

    ASSERT_THAT(preview.mails, SizeIs(2));
    EXPECT_THAT(preview.mails[1].text, HasSubstr("a fan has stopped"));
}

TEST_F(EventPreviewTest, saysWhyAnEventIsNoneForCallHome) {
    EXPECT_EQ(preview(eventOf(1, "x")).profiles[0].reason, "its log type is 1; CallHome takes 0, 2 and 3");
    LogRecord own = eventOf(0, "x");
    own.record.flags = 4096;
    const EventPreview preview = this->preview(own);
    EXPECT_EQ(preview.profiles[0].reason, "its flags are those of the daemon's own entries");
    EXPECT_EQ(preview.admission.verdict, Verdict::NOT_OFFERED);
    EXPECT_THAT(preview.mails, IsEmpty());
}

TEST_F(EventPreviewTest, saysSoWhenCallHomeIsOff) {
    lab_.set("Global.Services.CallhomeEnable", "False");

    const EventPreview preview = this->preview(eventOf(0, "x"));

    ASSERT_THAT(preview.profiles, SizeIs(3));
    EXPECT_THAT(preview.profiles[0].reason, HasSubstr("CallHome takes no events"));
    EXPECT_THAT(preview.mails, IsEmpty());
}

TEST_F(EventPreviewTest, knowsOfNoProfileWhereThereIsNone) {
    lab_.set("Global.CallhomeDB.NumberOfProfiles", "0");

    const EventPreview preview = this->preview(eventOf(0, "x"));

    EXPECT_THAT(preview.profiles, IsEmpty());
    EXPECT_THAT(preview.mails, IsEmpty());
}

TEST_F(EventPreviewTest, countsARepeatOfAMessageThatWaits) {
    letWait(eventOf(0, "a fan has stopped"), 0);

    EXPECT_EQ(preview(eventOf(0, "a fan has stopped")).admission.verdict, Verdict::REPEAT);
    EXPECT_EQ(preview(eventOf(0, "another fan has stopped")).admission.verdict, Verdict::TAKEN);
    lab_.set("Global.Callhome.ThrottleDupsEnable", "False");
    EXPECT_EQ(preview(eventOf(0, "a fan has stopped")).admission.verdict, Verdict::TAKEN);
}

TEST_F(EventPreviewTest, isRefusedWhereTheQueueHasNoSpaceForIt) {
    lab_.set("Global.Callhome.FileSystemSpaceAllowed", "300");

    const EventPreview preview = this->preview(eventOf(0, "a fan has stopped"));

    EXPECT_EQ(preview.admission.verdict, Verdict::REFUSED);
    EXPECT_THAT(preview.mails, IsEmpty());
}

}  // namespace
