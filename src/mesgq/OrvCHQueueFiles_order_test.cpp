// The order file alone: a list of entries, and the file that says so.
#include "mesgq/OrvCHQueueFiles.h"

#include "testing/mesgq/MesgQTest.h"

#include <sys/stat.h>

#include <filesystem>

namespace {

class OrvCHOrderFileTest : public MesgQTest {
protected:
    OrvCHMesgQEntry& append(std::uint32_t id, bool test = false) {
        auto entry = std::make_unique<OrvCHMesgQEntry>();
        entry->uniqueId = id;
        entry->posting.testMsg = test;
        entry->message = message("text");
        return list_.append(std::move(entry));
    }
    ino_t inode() {
        struct stat status {};
        EXPECT_EQ(::stat(switch_.root().at(path_).c_str(), &status), 0);
        return status.st_ino;
    }
    std::string file() { return switch_.root().read(path_); }
    void write(const std::string& bytes) { switch_.root().write(path_, bytes); }
    // What a start finds: "count of length", and what stands behind the count.
    std::string found() const {
        std::uint32_t count = 0;
        std::size_t length = 0;
        const OrvFilePtr file = orvOpenOrderFile(path_, count, length);
        if (!file) {
            return "no order file";
        }
        std::string rest(100, '\0');
        rest.resize(std::fread(rest.data(), 1, rest.size(), file.get()));
        return std::to_string(count) + " of " + std::to_string(length) + ", then " + std::to_string(rest.size());
    }

    const std::string path_ = std::string(kSendDir) + "/order";
    OrvCHMesgQQueue list_{ORV_CH_MESG_Q_SEND};
};

TEST_F(OrvCHOrderFileTest, namesTheEntriesFromHeadToTailAndHasAZeroForEachTest) {
    append(7);
    append(3, true);
    append(8);

    updateOrderFile(list_);

    EXPECT_EQ(file(), wordsToBytes({2, 7, 8, 0}));
}

TEST_F(OrvCHOrderFileTest, isCutToWhatIsLeftAndNeverReplaced) {
    OrvCHMesgQEntry& first = append(0);
    append(1);
    updateOrderFile(list_);
    const ino_t before = inode();
    list_.unlink(first);

    updateOrderFile(list_);

    EXPECT_EQ(file(), wordsToBytes({1, 1}));
    EXPECT_EQ(inode(), before);
    EXPECT_EQ(files(kSendDir), Texts{"order"});
}

TEST_F(OrvCHOrderFileTest, isReportedWhereADirectoryHasItsName) {
    std::filesystem::create_directory(switch_.root().at(path_));
    append(0);
    takeLog();
    takeTrace();

    updateOrderFile(list_);

    EXPECT_EQ(takeLog(), (Log{{15, "Unable to open file " + path_}}));
    EXPECT_EQ(takeTrace(), Texts{"updateOrderFile: unable to open file " + path_ + "\n"});
}

TEST_F(OrvCHOrderFileTest, isReadBehindTheBytesOfItsCount) {
    write(wordsToBytes({2, 5, 6}));
    EXPECT_EQ(found(), "2 of 4, then 8");
    write("");
    EXPECT_EQ(found(), "0 of 0, then 0");
    write(std::string(3, '\0'));
    EXPECT_EQ(found(), "0 of 3, then 0");
}

TEST_F(OrvCHOrderFileTest, isReadOnlyWhereItIsAFileOfTheQueuesOwn) {
    EXPECT_EQ(found(), "no order file");
    switch_.root().write("/tmp/other", wordsToBytes({1, 0}));
    std::filesystem::create_symlink(switch_.root().at("/tmp/other"), switch_.root().at(path_));
    EXPECT_EQ(found(), "no order file") << "a link";
    std::filesystem::remove(switch_.root().at(path_));
    std::filesystem::create_hard_link(switch_.root().at("/tmp/other"), switch_.root().at(path_));
    EXPECT_EQ(found(), "no order file") << "somebody else's file";
    std::filesystem::remove(switch_.root().at(path_));
    std::filesystem::create_directory(switch_.root().at(path_));
    EXPECT_EQ(found(), "no order file") << "a directory";
}

}  // namespace
