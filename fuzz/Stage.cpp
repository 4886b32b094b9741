#include "fuzz/Stage.h"

#include "mesgq/OrvCHQueueFiles.h"

#include <gtest/gtest.h>

#include <ctime>

namespace orv_fuzz {

Stage& Stage::get() {
    static Stage stage;
    return stage;
}

// Without a trace: a run would write more of it than it does of anything else.
Stage::Stage() {
    setenv("TZ", "UTC", 1);
    tzset();
    useHostClock(&clock_);
    orvMakeQueueDirectories();
    EXPECT_EQ(OrvDbg::setOfThread(nullptr), 0);
}

Stage::~Stage() {
    useHostClock(nullptr);
}

std::vector<std::string> Stage::takeSent() {
    std::vector<std::string> sent = switch_.takeSent();
    for (const std::string& line : sent) {
        // Behind the entry, which may hold anything itself.
        EXPECT_FALSE(line.ends_with(" (not in the daemon's catalogue)")) << line;
        EXPECT_FALSE(line.ends_with(" (not marked as the daemon's own)")) << line;
    }
    return sent;
}

}  // namespace orv_fuzz
