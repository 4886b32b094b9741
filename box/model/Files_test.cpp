#include "box/model/ModelFixture.h"

namespace model {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kQueues = "/ostrel/conf/orv/callHome/queues/";

class Files : public ModelFixture {
protected:
    // A new life on these files; what it told until its queue was open.
    std::vector<std::string> restart(const Flash& flash) {
        model_ = Model(configured(), flash);
        model_.start(now_);
        forget();
        tick();
        return told();
    }
};

TEST_F(Files, holdTheMessageAndTheStateBlock) {
    run();
    Sw_Log_Type event = record("Fan 2 has failed", 2);
    event.componentClass = 64;
    event.slot = 3;
    set("Global.CallhomeDB.Profile.0.Level", "Info");
    model_.profileChange(now_, 1);
    model_.event(now_, event);

    EXPECT_EQ(file("send/m0"),
              "<OrvCHMesg>\n<DupCnt>\n0\n</->\n<DupTime>\n\n</->\n<Time>\nTue Nov 14 22:13:20.123 UTC 2023\n</->\n"
              "<ID>\n0001.0002\n</->\n<Level>\nCritical\n</->\n<Blade>\nBlade: 3\n</->\n<App>\nPort\n</->\n"
              "<Text>\nFan 2 has failed\n</->\n<EnvelopeList>\n<OrvCHEnvelope>\n<MaxSize>\n2000000\n</->\n"
              "<Type>\nFullText\n</->\n<Profile>\nOps\n</->\n<Subj>\nlab\n</->\n<RcptList>\na@x.example\n</RcptList>\n"
              "</OrvCHEnvelope>\n</EnvelopeList>\n</OrvCHMesg>\n<OrvCHMesgQ>\nduplicatesPending = 0\npersist = false\n"
              "persistRepostPeriod = 86400\nmarkedForDeletion = 0\nexpire = -1\n</OrvCHMesgQ>\n");
    EXPECT_THAT(order("send"), ElementsAre(1u, 0u));
}

TEST_F(Files, areChargedByAnEstimateOfTheirLength) {
    run();
    event("Fan");
    // 134 and the texts; 91, the level; 124, format, profile, subject, the recipient and its line's end; 164 for the
    // entry
    EXPECT_EQ(model_.queue()->bytesInUse(), 134u + 32 + 9 + 3 + 91 + 5 + 124 + 8 + 3 + 3 + 12 + 164);
}

TEST_F(Files, ofTestsDoNotExistButTakeAWordOfTheOrderFile) {
    run();
    model_.testProfile(now_, 1, "Ops");
    event("Fan");
    EXPECT_EQ(file("send/m0"), "none");
    EXPECT_THAT(order("send"), ElementsAre(1u, 1u, 0u));
}

TEST_F(Files, areReadAgainNewestFirst) {
    run();
    event("one");
    event("two");
    event("three");
    event("one");  // written again
    const Flash flash = model_.flash();

    EXPECT_THAT(restart(flash), ElementsAre("Unable to open file " + kQueues + "duplicate/order",
                                            "Unable to read 'count' field from file " + kQueues + "send/order",
                                            "Unable to open file " + kQueues + "persist/order"));
    std::vector<std::string> texts;
    for (const Entry& entry : model_.queue()->list(List::kSend)) {
        texts.push_back(entry.message.text);
        EXPECT_EQ(entry.repeats, 0u);  // the state block is for those who look at the file
    }
    EXPECT_THAT(texts, ElementsAre("one", "three", "two"));
}

TEST_F(Files, areHiddenByAnEmptyOrderFile) {
    run();
    event("one");
    Flash flash = model_.flash();
    flash.write(kQueues + "send/order", "");

    EXPECT_THAT(restart(flash), ElementsAre("Unable to open file " + kQueues + "duplicate/order",
                                            "Unable to open file " + kQueues + "persist/order"));
    EXPECT_EQ(entries(List::kSend), 0u);
    EXPECT_NE(file("send/m0"), "none");
}

TEST_F(Files, thatAreNoMessageAreNamedAndStay) {
    run();
    event("one");
    const std::string whole = file("send/m0");
    for (std::size_t size = 0; size < whole.find("<OrvCHMesgQ>") - 1; size += 7) {
        Flash flash = model_.flash();
        flash.write(kQueues + "send/m0", whole.substr(0, size));
        Model later(configured(), flash);
        later.start(now_);
        later.takeLog();
        later.tick(now_);
        std::vector<LogEntry> expected;
        if (size == 0) {
            expected.push_back({15, kPlain, "File " + kQueues + "send/m0 is empty, ignoring"});
        }
        expected.push_back({16, kPlain, "Error restoring message from " + kQueues + "send/m0, ignoring"});
        for (const LogEntry& entry : expected) {
            EXPECT_THAT(later.takeLog(), testing::Contains(entry)) << size;
            later.start(now_);
            later.takeLog();
            later.tick(now_);
        }
        EXPECT_EQ(later.queue()->list(List::kSend).size(), 0u) << size;
    }
}

TEST_F(Files, areReadWithUnknownElementsAndWithoutTheRestOfAnOlderOne) {
    run();
    event("one");
    std::string bytes = file("send/m0");
    bytes.insert(bytes.find("<Text>"), "<New>\nvalue\n</->\n<Group>\n<Inner>\nx\n</->\n</Group>\n");
    bytes = "before\n" + bytes + "rest of an older one";
    const std::optional<Message> message = messageIn(bytes);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->text, "one");
}

TEST_F(Files, ofRepeatsGoBackToTheSendQueue) {
    run();
    event("one");
    tick();
    play();
    event("one");
    event("waiting");
    ASSERT_NE(file("duplicate/m0"), "none");

    restart(model_.flash());

    ASSERT_EQ(entries(List::kSend), 2u);
    EXPECT_EQ(entries(List::kDuplicate), 0u);
    EXPECT_EQ(model_.queue()->list(List::kSend).back().message.duplicates, 1u);
    EXPECT_EQ(file("duplicate/m0"), "none");
    EXPECT_THAT(order("duplicate"), ElementsAre(0u));
    EXPECT_THAT(file("send/m1"), HasSubstr("<DupCnt>\n1\n"));
}

TEST_F(Files, showTheMarksOfTheMomentInWhichTheyAreWritten) {
    setRecipients({"a@x.example", "b@x.example"});
    run();
    event("one");
    tick();
    addSecondServer();
    model_.connected(now_);
    model_.replied(now_, "220 hi\r\n");
    model_.replied(now_, "250 hello\r\n");
    model_.replied(now_, "250 from\r\n");
    model_.replied(now_, "450 later\r\n");
    event("one");
    EXPECT_THAT(file("send/m0"), HasSubstr("<RcptList>\n$a@x.example\nb@x.example\n</RcptList>"));
}

}  // namespace
}  // namespace model
