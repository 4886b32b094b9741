// Ends of the process. A program of its own without threads: these tests fork.
#include "app/OrvApp.h"
#include "dbg/OrvDbg.h"
#include "testing/LoopbackSwitch.h"
#include "testing/TempRoot.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

TEST(OrvAppDeathTest, endsWithStatusOneWhenTheBusRefusesIt) {
    TempRoot root;
    LoopbackSwitch host(root);

    EXPECT_EXIT(
        {
            OrvDbg logger("orv.out.Main");
            if (OrvDbg::setOfThread(&logger) < 0) {
                std::_Exit(3);
            }
            host.leaveBus();
            const OrvApp app;
        },
        testing::ExitedWithCode(1), "");

    const std::vector<std::string> trace = root.trace("orv.out.Main");
    ASSERT_FALSE(trace.empty());
    const std::string expected = " OrvApp OrvApp: Unable to insert into the bus!!!!. Exiting...";
    EXPECT_TRUE(trace.back().ends_with(expected)) << trace.back();
}

}  // namespace
