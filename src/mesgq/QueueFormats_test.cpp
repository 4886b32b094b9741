// Queues as older versions have left them on flash, on either kind of processor: none of them may ever be lost.
#include "testing/KeptFormats.h"
#include "testing/mesgq/MesgQTest.h"

#include <algorithm>
#include <filesystem>

namespace {

namespace fs = std::filesystem;

using testing::UnorderedElementsAre;

constexpr char kCallHome[] = "/ostrel/conf/orv/callHome";

// One that ends within a line, and one with every byte in it.
std::map<std::string, std::string> attachments() {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
    }
    return {{"logfile.gz", bytes}, {"smlCapture.txt.gz", "a report\n"}};
}

class QueueFormats : public MesgQTest, public testing::WithParamInterface<fs::path> {
protected:
    void restoreFormat() {
        putKeptFormat(switch_.root(), GetParam());
        restartAndOpen();
    }
};

class QueueFormatOfThisVersion : public MesgQTest {
protected:
    // Only an empty send queue mails what comes next.
    void fill() {
        park("repeated while parked");
        ASSERT_EQ(add("repeated while parked"), 0);
        ASSERT_EQ(addPersistent("persistent, and quiet until its period is over", 86400, -1), 0);
        mailNext();
        ASSERT_EQ(add("first"), 0);
        ASSERT_EQ(add("repeated while waiting"), 0);
        ASSERT_EQ(add("repeated while waiting"), 0);
        ASSERT_EQ(add("last: 100% <OrvCHMesg> \xC3\xA9"), 0);
        ASSERT_EQ(queue_->add(capture(), false, false, 86400, -1, false), 0);
    }

private:
    std::unique_ptr<OrvCHMesg> capture() {
        auto made = std::make_unique<OrvCHMesg>(OrvCHMesg::kCronCapture);
        made->Time = "Tue, 14  Nov  2023  22:13:20  +0000";
        made->ID = "8B00.FFFF";
        made->Text = "captured";
        CronCaptureData& data = *made->cronCapture();
        data.Sequence = "7";
        data.DayOfWeek = "Tue";
        data.TimeOfDay = "22:13";
        data.Interval = "1";
        data.Shell = "clish";
        data.Command = "show support callhome";
        for (const auto& [name, content] : attachments()) {
            switch_.root().write("/tmp/" + name, content);
            EXPECT_EQ(data.insertAttachment("/tmp/" + name), 0);
        }
        made->addEnvelope(std::make_unique<OrvCHEnvelope>(*message("")->Envelopes.front()));
        return made;
    }
};

TEST_P(QueueFormats, isRestoredWithEveryEvent) {
    restoreFormat();

    EXPECT_EQ(queue_->statistics().reconstituted, 5u);
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND),
                UnorderedElementsAre("first", "repeated while waiting", "last: 100% <OrvCHMesg> \xC3\xA9",
                                     "repeated while parked"));
    EXPECT_THAT(texts(ORV_CH_MESG_Q_PERSIST), testing::ElementsAre("persistent, and quiet until its period is over"));
    for (const OrvCHMesgQEntry& each : queue_->queue(ORV_CH_MESG_Q_SEND)) {
        // What was counted while it waited stands in the state block, which a restore does not read.
        const bool counted = each.message->Text == "repeated while parked";
        EXPECT_EQ(each.message->duplicateCount(), counted ? 1 : 0) << each.message->Text;
        ASSERT_EQ(each.message->Envelopes.size(), 1u);
        EXPECT_THAT(each.message->Envelopes.front()->Recipients, testing::ElementsAre("somebody@example.org"));
    }
    checkConsistency();
}

// Kept: a capture comes back as a log event without a level, which is none.
TEST_P(QueueFormats, losesItsCaptureWithTheAttachmentsAndNothingElse) {
    restoreFormat();

    EXPECT_THAT(switch_.root().trace("mesgq"),
                testing::Contains(
                    testing::EndsWith("Problem restoring msg 3 from file " + std::string(kSendDir) + "/m3, ignoring")));
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), testing::Not(testing::Contains("captured")));
    EXPECT_THAT(files(kAttachments), testing::IsEmpty());
    EXPECT_THAT(files(kStage), testing::IsEmpty());
    checkConsistency();
}

INSTANTIATE_TEST_SUITE_P(OnFlash, QueueFormats, testing::ValuesIn(keptFormats()), [](const auto& format) {
    std::string name = format.param.parent_path().filename().string() + "_" + format.param.filename().string();
    std::ranges::replace(name, '.', '_');
    return name;
});

TEST(QueueFormatsOnFlash, areThereInBothByteOrders) {
    std::map<std::string, std::vector<std::string>> orders;
    for (const fs::path& format : keptFormats()) {
        orders[format.parent_path().filename()].push_back(format.filename());
    }
    ASSERT_FALSE(orders.empty());
    for (const auto& [version, found] : orders) {
        EXPECT_THAT(found, testing::ElementsAre("big_endian", "little_endian")) << version;
    }
}

// What this version writes is what the newest of them holds, but for the times.
TEST_F(QueueFormatOfThisVersion, isTheNewestThatIsKept) {
    open();
    fill();
    for (const char* const name : {"queues", "attachments", "attachments.state"}) {
        writeFormat(switch_.root(), name);
    }
    for (const char* const name :
         {"queues/send/order", "queues/send/m0", "queues/send/m1", "queues/send/m2", "queues/send/m3",
          "queues/duplicate/order", "queues/duplicate/m0", "queues/persist/order", "queues/persist/m0",
          "attachments/logfile.gz.7", "attachments/smlCapture.txt.gz.7", "attachments.state"}) {
        EXPECT_EQ(switch_.root().read(std::string(kCallHome) + "/" + name), contentOf(newestKeptFormat() / name))
            << name;
    }
}

}  // namespace
