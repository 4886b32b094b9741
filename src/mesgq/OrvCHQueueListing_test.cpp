// The listing alone: a directory with files, and their names.
#include "mesgq/OrvCHQueueListing.h"

#include "testing/mesgq/MesgQRestoreTest.h"

#include <filesystem>

namespace {

class OrvCHQueueListingTest : public MesgQRestoreTest {
protected:
    // The lines, or pieces of them, from the opening to the closing.
    Texts listed(const char* directory = kSendDir) {
        OrvFilePtr list = orvOpenListing(directory);
        if (!list) {
            return {"no listing"};
        }
        Texts lines;
        char line[kOrvListLine];
        while (const char* const next = orvNextListed(*list, line)) {
            lines.emplace_back(next);
        }
        orvCloseListing(std::move(list));
        return lines;
    }
    void entryFile(const std::string& name) { file(std::string(kSendDir) + "/" + name, "x"); }
};

TEST_F(OrvCHQueueListingTest, namesTheEntriesNewestFirstAndNothingElse) {
    entryFile("m5");
    entryFile("order");
    entryFile("m10");
    entryFile("m2");

    EXPECT_EQ(listed(), (Texts{"m2\n", "m10\n", "m5\n"}));
}

TEST_F(OrvCHQueueListingTest, givesALongNameInPieces) {
    entryFile("m1234567890");

    EXPECT_EQ(listed(), (Texts{"m1234567890", "\n"}));
}

TEST_F(OrvCHQueueListingTest, leavesNoFileBehind) {
    entryFile("m0");
    switch_.root().write(kListing, "of an earlier start\n");

    EXPECT_EQ(listed(), Texts{"m0\n"});

    EXPECT_FALSE(switch_.root().exists(kListing));
}

TEST_F(OrvCHQueueListingTest, isNotMadeOfADirectoryBehindALink) {
    switch_.root().write("/tmp/elsewhere/m1", "x");
    std::filesystem::create_directory_symlink(switch_.root().at("/tmp/elsewhere"), switch_.root().at("/tmp/link"));
    takeLog();

    EXPECT_EQ(listed("/tmp/link"), Texts{"no listing"});

    EXPECT_EQ(takeLog(), (Log{{16, std::string("Unable to open file ") + kListing}}));
}

TEST_F(OrvCHQueueListingTest, isNotWrittenThroughALinkInItsPlace) {
    entryFile("m0");
    switch_.root().write("/tmp/victim", "stays");
    std::filesystem::create_symlink(switch_.root().at("/tmp/victim"), switch_.root().at(kListing));

    EXPECT_EQ(listed(), Texts{"m0\n"});

    EXPECT_EQ(switch_.root().read("/tmp/victim"), "stays");
}

}  // namespace
