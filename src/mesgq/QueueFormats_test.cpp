// Queues as older versions have left them on flash, on either kind of processor: none of them may ever be lost.
//
// testing/mesgq/formats holds a file tree for each version that changed the format, and for each byte order. A new one
// is written with ORV_WRITE_FORMATS=DIRECTORY by this program, here and on the switch's processor.
#include "testing/mesgq/MesgQTest.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

namespace fs = std::filesystem;

using testing::UnorderedElementsAre;

constexpr char kCallHome[] = "/ostrel/conf/orv/callHome";

std::vector<fs::path> formats() {
    std::vector<fs::path> found;
    for (const fs::directory_entry& version : fs::directory_iterator(FORMATS)) {
        for (const fs::directory_entry& order : fs::directory_iterator(version.path())) {
            found.push_back(order.path());
        }
    }
    // 0.10 is newer than 0.9.
    std::ranges::sort(
        found, [](const fs::path& one, const fs::path& other) { return strverscmp(one.c_str(), other.c_str()) < 0; });
    return found;
}

class QueueFormats : public MesgQTest, public testing::WithParamInterface<fs::path> {};

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
    }
};

TEST_P(QueueFormats, isRestoredWhole) {
    fs::create_directories(switch_.root().at(kCallHome));
    fs::copy(GetParam(), switch_.root().at(kCallHome),
             fs::copy_options::recursive | fs::copy_options::overwrite_existing);

    restartAndOpen();

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

INSTANTIATE_TEST_SUITE_P(OnFlash, QueueFormats, testing::ValuesIn(formats()), [](const auto& format) {
    std::string name = format.param.parent_path().filename().string() + "_" + format.param.filename().string();
    std::ranges::replace(name, '.', '_');
    return name;
});

TEST(QueueFormatsOnFlash, areThereInBothByteOrders) {
    std::map<std::string, std::vector<std::string>> orders;
    for (const fs::path& format : formats()) {
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
    const std::string order = std::endian::native == std::endian::big ? "big_endian" : "little_endian";
    if (const char* const directory = std::getenv("ORV_WRITE_FORMATS")) {
        fs::create_directories(fs::path(directory) / order);
        fs::copy(switch_.root().at(kCallHome), fs::path(directory) / order, fs::copy_options::recursive);
    }
    const fs::path newest = formats().back().parent_path() / order;
    for (const char* const name :
         {"queues/send/order", "queues/send/m0", "queues/send/m1", "queues/send/m2", "queues/duplicate/order",
          "queues/duplicate/m0", "queues/persist/order", "queues/persist/m0", "attachments.state"}) {
        std::ifstream file(newest / name, std::ios::binary);
        const std::string kept{std::istreambuf_iterator<char>(file), {}};
        EXPECT_EQ(switch_.root().read(std::string(kCallHome) + "/" + name), kept) << name;
    }
}

}  // namespace
