#include "callhome/OrvInfoBlocks.h"

#include "testing/PayloadPieces.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(OrvInfoBlocks, processedInfoWithoutProfilesIsOneZeroEntryOf116Bytes) {
    EXPECT_EQ(orvProfileProcessedInfo({}), Bytes(116, 0));
}

TEST(OrvInfoBlocks, processedInfoHasOneEntryAProfileInListOrder) {
    const Bytes block = orvProfileProcessedInfo(
        {{"first", 1, "NotApplicable"}, {"second", 0x01020304, "Tue Nov 14 22:13:20 UTC 2023"}});

    EXPECT_EQ(block, joined({Bytes(8, 0),
                             {0, 0, 0, 2},
                             paddedText("first", 36),
                             {0, 0, 0, 1},
                             paddedText("NotApplicable", 64),
                             paddedText("second", 36),
                             {1, 2, 3, 4},
                             paddedText("Tue Nov 14 22:13:20 UTC 2023", 64)}));
}

TEST(OrvInfoBlocks, processedInfoCutsNamesAt32AndTimesAt63Characters) {
    const Bytes block = orvProfileProcessedInfo({{std::string(40, 'n'), 7, std::string(70, 't')}});

    EXPECT_EQ(block, joined({Bytes(8, 0),
                             {0, 0, 0, 1},
                             paddedText(std::string(32, 'n'), 36),
                             {0, 0, 0, 7},
                             paddedText(std::string(63, 't'), 64)}));
}

TEST(OrvInfoBlocks, mesgQInfoIsFiveBigEndianWordsTheFirstTwoZero) {
    EXPECT_EQ(orvMesgQInfo(0x01020304, 5, 0x0A0B0C0D),
              (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 0, 0, 0, 5, 0x0A, 0x0B, 0x0C, 0x0D}));
}

}  // namespace
