#include "box/model/ModelFixture.h"

namespace model {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class QueueRules : public ModelFixture {
protected:
    const Entry& first(List list = List::kSend) const { return model_.queue()->list(list).front(); }
};

TEST_F(QueueRules, countsRepeatsOfWhatWaits) {
    run();

    event("Fan");
    event("Fan");
    event("Fan");

    ASSERT_EQ(entries(List::kSend), 1u);
    EXPECT_EQ(first().repeats, 2u);
    EXPECT_THAT(file("send/m0"), HasSubstr("<DupCnt>\n0\n</->\n<DupTime>\nTue Nov 14 22:13:21 UTC 2023\n</->\n"));
    EXPECT_THAT(file("send/m0"), HasSubstr("duplicatesPending = 2\n"));
}

TEST_F(QueueRules, mailsRepeatsOnceWhenThePeriodIsOver) {
    run();
    event("Fan");
    tick();
    event("Fan");  // while it is on the wire
    play();
    ASSERT_EQ(entries(List::kDuplicate), 1u);
    EXPECT_EQ(first(List::kDuplicate).message.duplicates, 1u);
    for (int more = 0; more < 4; ++more) {
        event("Fan");
    }
    EXPECT_THAT(order("duplicate"), ElementsAre(1u, 0u));

    tick(15);
    EXPECT_EQ(entries(List::kDuplicate), 1u);
    tick();

    EXPECT_THAT(play(), HasSubstr("------------    Message is a duplicate: last of 5 repeated messages...\r\n"));
    EXPECT_EQ(entries(List::kSend) + entries(List::kDuplicate), 0u);  // further repeats of it were not counted
    EXPECT_EQ(file("duplicate/m0"), "none");
}

TEST_F(QueueRules, forgetsWhatWasMailedAndDidNotRepeat) {
    run();
    event("Fan");
    tick();
    play();
    EXPECT_EQ(file("send/m0"), "none");
    EXPECT_EQ(file("duplicate/m0"), "none");

    tick(16);

    EXPECT_EQ(entries(List::kDuplicate), 0u);
    EXPECT_EQ(model_.wire().kind, WireStep::kNothing);
}

TEST_F(QueueRules, mailsEveryRepeatWithoutThrottling) {
    set("Global.Callhome.ThrottleDupsEnable", "False");
    run();
    event("Fan");
    event("Fan");
    EXPECT_EQ(entries(List::kSend), 2u);
}

TEST_F(QueueRules, mailsCountedRepeatsAtOnceWhenTheConfigurationIsReadAgain) {
    run();
    event("Fan");
    tick();
    play();
    event("Fan");

    model_.profileChange(now_, 1);

    EXPECT_EQ(entries(List::kDuplicate), 0u);
    ASSERT_EQ(entries(List::kSend), 1u);
    EXPECT_FALSE(first().eligible);
    EXPECT_EQ(first().message.duplicates, 1u);
}

TEST_F(QueueRules, refusesAMessageThatAloneExceedsTheSpace) {
    set("Global.Callhome.FileSystemSpaceAllowed", "600");
    run();
    event(std::string(100, 'x'));
    EXPECT_THAT(told(), ElementsAre("Message is too large"));
    EXPECT_EQ(entries(List::kSend), 0u);
}

TEST_F(QueueRules, makesRoomFromWhatWasMailedFirstThenFromTheOldest) {
    set("Global.Callhome.FileSystemSpaceAllowed", "2000");
    run();
    event("mailed");
    tick();
    play();
    event("one");
    event("two");
    ASSERT_EQ(entries(List::kDuplicate), 1u);
    const std::uint64_t before = model_.queue()->bytesInUse();
    ASSERT_GT(before + first().charge(), 2000u);

    event("three");
    EXPECT_EQ(entries(List::kDuplicate), 0u);
    EXPECT_EQ(entries(List::kSend), 3u);
    event("four");
    ASSERT_EQ(entries(List::kSend), 3u);
    EXPECT_EQ(first().message.text, "two");
    EXPECT_THAT(told(), IsEmpty());  // what the quotas prescribe is not told
}

TEST_F(QueueRules, creditsADiscardedEntryWithFourBytesLessThanItsCharge) {
    run();
    event("one");
    const std::uint64_t charge = first().charge();
    set("Global.Callhome.FileSystemSpaceAllowed", std::to_string(2 * charge));
    model_.profileChange(now_, 1);
    event("two");
    event("six");  // needs the room of one; one gives four bytes too little
    ASSERT_EQ(entries(List::kSend), 1u);
    EXPECT_EQ(first().message.text, "six");
}

TEST_F(QueueRules, leavesEarlyMessagesTheirRoomWhileTheyWait) {
    run();
    event("one");
    const std::uint64_t charge = first().charge();
    model_.clearQueue(now_, 1);
    model_.kill();
    set("Global.Callhome.FileSystemSpaceAllowed", std::to_string(charge + 10));

    model_.start(now_);
    event("one");
    event("two");
    forget();
    tick();

    EXPECT_THAT(told(), Contains("Unable to make room for message (filesystem quota limit)"));
    ASSERT_EQ(entries(List::kSend), 1u);
    EXPECT_EQ(first().message.text, "two");
}

TEST_F(QueueRules, creditsWhatWasMailedWithFourBytesLessToo) {
    run();
    event("one");
    tick();
    play();
    const std::uint64_t charge = first(List::kDuplicate).charge();
    set("Global.Callhome.ThrottleDupsPeriod", "1000");
    set("Global.Callhome.FileSystemSpaceAllowed", std::to_string(2 * charge));
    model_.profileChange(now_, 1);  // what was mailed is gone
    event("one");
    tick();
    play();
    event("two");
    ASSERT_EQ(entries(List::kDuplicate) + entries(List::kSend), 2u);
    event("six");  // what was mailed gives four bytes too little: two goes as well
    EXPECT_EQ(entries(List::kDuplicate), 0u);
    ASSERT_EQ(entries(List::kSend), 1u);
    EXPECT_EQ(first().message.text, "six");
}

TEST_F(QueueRules, discardsDownToTheFilesAllowedAndNoFurther) {
    run();
    for (const char* const text : {"one", "two", "three", "four"}) {
        event(text);
    }
    set("Global.Callhome.SMTPEnable", "False");
    set("Global.Callhome.FilesAllowed", "3");
    model_.profileChange(now_, 1);
    tick(3);
    ASSERT_EQ(entries(List::kSend), 3u);
    EXPECT_EQ(first().message.text, "two");
}

TEST_F(QueueRules, keepsTheNumberOfFilesByDiscardingTheOldest) {
    set("Global.Callhome.FilesAllowed", "2");
    run();
    event("one");
    event("two");
    event("three");
    ASSERT_EQ(entries(List::kSend), 2u);
    EXPECT_EQ(first().message.text, "two");
    EXPECT_THAT(order("send"), ElementsAre(2u, 1u, 2u));
}

TEST_F(QueueRules, allowsNoFilesAtAll) {
    set("Global.Callhome.FilesAllowed", "0");
    run();
    event("one");
    EXPECT_THAT(told(), ElementsAre("Unable to make room for message (file limit)"));
}

TEST_F(QueueRules, marksWhatIsOnTheWireAndDiscardsItWhenItComesBack) {
    set("Global.Callhome.FilesAllowed", "0");
    set("Global.Callhome.FilesAllowed", "1");
    run();
    event("one");
    tick();  // open
    set("Global.Callhome.FilesAllowed", "0");
    model_.profileChange(now_, 1);
    event("two");
    EXPECT_THAT(told(), Contains("Unable to make room for message (file limit)"));
    EXPECT_THAT(file("send/m0"), HasSubstr("markedForDeletion = 3\n"));

    failToConnect();

    EXPECT_EQ(entries(List::kSend), 0u);
    EXPECT_EQ(file("send/m0"), "none");
}

TEST_F(QueueRules, discardsWhatIsOlderThanItsPeriod) {
    set("Global.Callhome.DiscardPeriod", "10");
    run();
    event("one");
    tick();
    failToConnect();  // waits for an hour and more

    tick(9);
    play([](const std::string&) { return "closed"; });
    EXPECT_EQ(entries(List::kSend), 1u);
    tick();
    EXPECT_EQ(entries(List::kSend), 0u);
}

TEST_F(QueueRules, keepsDefaultsAfterTheFirstNumberOutOfRange) {
    set("Global.Callhome.DiscardPeriod", "99999999999");
    set("Global.Callhome.FilesAllowed", "1");
    run();
    event("one");
    event("two");
    EXPECT_EQ(entries(List::kSend), 2u);  // of the hundred that are allowed by default
}

TEST_F(QueueRules, clearsWhatWaitsAndMarksWhatIsOnTheWire) {
    run();
    model_.testProfile(now_, 1, "Ops");
    event("one");
    tick();  // the test is on the wire
    forget();

    model_.clearQueue(now_, 2);
    EXPECT_THAT(model_.takeResponses(), ElementsAre(Response{103, word(2) + word(0)}));
    EXPECT_EQ(entries(List::kSend), 1u);
    failToConnect();

    EXPECT_THAT(model_.takeResponses(), ElementsAre(Response{107, word(2) + slot("Ops", 36)}));
    EXPECT_EQ(entries(List::kSend), 0u);
}

TEST_F(QueueRules, tellsBytesAndCountsOnRequest) {
    run();
    event("one");
    event("two");
    tick();
    forget();

    model_.queueInfo(now_, 7);

    const auto bytes = std::uint32_t(model_.queue()->bytesInUse());
    EXPECT_THAT(model_.takeResponses(),
                ElementsAre(Response{106, word(7) + word(0) + std::string(8, '\0') + word(bytes) + word(1) + word(1)}));
}

}  // namespace
}  // namespace model
