// A program of its own, without threads: death tests fork.
#include "Sw_Log_Type.h"
#include "testing/mesg/MesgTest.h"

using OrvCHMesgDeathTest = MesgTest;

TEST_F(OrvCHMesgDeathTest, stopsTheProcessWhenARecordMeetsNoLogEventData) {
    const Sw_Log_Type record;
    EXPECT_DEATH({ OrvCHMesg().extractData(record); }, "Mesg\\.LogEvent");
    EXPECT_DEATH({ OrvCHMesg(OrvCHMesg::kCronCapture).extractData(record); }, "Mesg\\.LogEvent");
}
