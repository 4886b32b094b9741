#include "box/search/Charges.h"

#include "box/BoxDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace box {
namespace {

// What an event of the given attributes looks like in a file, with one envelope.
std::string eventFile(const std::string& count, const std::string& time, const std::string& recipient) {
    return "<OrvCHMesg>\n<DupCnt>\n" + count + "\n</->\n<DupTime>\n" + time +
           "\n</->\n<Time>\nnow\n</->\n<ID>\n0001.00000002\n</->\n<Level>\nInfo\n</->\n<Port>\n7\n</->\n"
           "<Text>\nevent number 1\n</->\n<EnvelopeList>\n<OrvCHEnvelope>\n<MaxSize>\n2000000\n</->\n"
           "<Type>\nFullText\n</->\n<Profile>\nP\n</->\n<Subj>\nS\n</->\n<RcptList>\n" +
           recipient + "\n</RcptList>\n</OrvCHEnvelope>\n</EnvelopeList>\n</OrvCHMesg>\n";
}

constexpr char kStateBlock[] = "<OrvCHMesgQ>\nduplicatesPending = 0\n</OrvCHMesgQ>\n";
// The lengths of <Blade>, <ASIC>, <VID>, <App> and <Comp>, with seven more for each.
constexpr std::uint64_t kLeftOut = 7 + 6 + 5 + 5 + 6 + 5 * 7;
// In the file above: of the two numbers, nine and three digits less than ten.
constexpr std::uint64_t kDigitsLeftOut = 9 + 3;

class Charges : public testing::Test {
protected:
    Charges() { std::filesystem::create_directories(home_ + "/queues/send"); }

    void write(const std::string& name, const std::string& bytes) { std::ofstream(home_ + "/" + name) << bytes; }
    // The queue takes an entry at this charge and saves it.
    void charge(std::uint64_t bytes) {
        trace("add", "testMsg = false, persist = false, persistRepostPeriod = 86400, expireCountdown = -1");
        enter(bytes);
        save();
    }
    void restore(std::uint64_t bytes) {
        trace("reconstituteMsgFromFile", "file");
        enter(bytes);
    }
    void enter(std::uint64_t bytes) {
        const std::string sums = std::to_string(bytes);
        trace("addInternal", "entry (7) added to the send queue\n    init 0 0\n    send 1 " + sums +
                                 "\n    duplicate 0 0\n    persist 0 0\n  Total   1 " + sums);
    }
    void save() { trace("saveEntryToFile", "file=/ostrel/conf/orv/callHome/queues/send/m7"); }
    void trace(const std::string& method, const std::string& text) {
        books_.traced("11/14/2023 UTC 22:28:08.169  1001 OrvCHMesgQ " + method + ": " + text + "\n");
    }
    std::string problem() { return chargesProblem(directory_.path(), books_); }

    const BoxDirectory directory_{""};
    const std::string home_ = directory_.path() + "/ostrel/conf/orv/callHome";
    const std::string event_ = eventFile("0", "", "a@example.com");
    const std::uint64_t due_ = event_.size() + kDigitsLeftOut + kLeftOut + 164;
    Books books_;
};

}  // namespace

TEST_F(Charges, areTheFilesBytesWithAllowancesForWhatIsNotWritten) {
    const auto charge = chargeFor(event_ + kStateBlock, "");

    ASSERT_TRUE(charge);
    EXPECT_EQ(charge->asNew, due_);
}

TEST_F(Charges, areThoseOfTheMessageAsItCame) {
    const auto charge = chargeFor(eventFile("12", "Tue Nov 14", "!a@example.com"), "");

    ASSERT_TRUE(charge);
    EXPECT_EQ(charge->asNew, due_);
    EXPECT_EQ(charge->repeatTime, 10u);
    EXPECT_EQ(charge->recipients, 1u);
}

TEST_F(Charges, ofACaptureCountItsAttachments) {
    const std::string file =
        "<OrvCHMesg>\n<CronSeq>\n17\n</->\n<CronAttchList>\nlog.gz\n</CronAttchList>\n</OrvCHMesg>\n";
    EXPECT_FALSE(chargeFor(file, directory_.path())) << "it is not there";
    std::ofstream(directory_.path() + "/log.gz.17") << std::string(1000, 'A');

    const auto charge = chargeFor(file, directory_.path());

    ASSERT_TRUE(charge);
    EXPECT_EQ(charge->asNew, file.size() + 1000 + 164);
}

TEST_F(Charges, cannotBeToldOfHalfAFile) {
    EXPECT_FALSE(chargeFor(event_.substr(0, event_.size() - 5), ""));
    EXPECT_FALSE(chargeFor("", ""));
}

TEST_F(Charges, holdWhenTheQueueTellsTheSame) {
    write("queues/send/m7", event_ + kStateBlock);
    charge(due_);

    EXPECT_EQ(problem(), "");
}

TEST_F(Charges, doNotHoldWhenTheQueueTellsOneByteLessOrMore) {
    write("queues/send/m7", event_ + kStateBlock);
    charge(due_ - 1);
    EXPECT_EQ(problem(),
              "send/m7 is charged with " + std::to_string(due_ - 1) + ", its file stands for " + std::to_string(due_));

    books_ = Books();
    charge(due_ + 1);
    EXPECT_NE(problem(), "");
}

TEST_F(Charges, areLookedAtWhenAFileIsWritten) {
    write("queues/send/m7", event_);
    charge(due_);
    EXPECT_EQ(problem(), "");
    write("queues/send/m7", eventFile("0", "", "another@example.com"));
    EXPECT_EQ(problem(), "") << "nothing was told of it";

    save();

    EXPECT_NE(problem(), "");
}

TEST_F(Charges, ofARestoredEntryMayCountItsRepeatsTimeAndMarks) {
    write("queues/send/m7", eventFile("12", "Tue Nov 14", "!a@example.com"));
    restore(due_ + 11);

    EXPECT_EQ(problem(), "");

    books_ = Books();
    restore(due_ + 12);
    EXPECT_NE(problem(), "");
}

}  // namespace box
