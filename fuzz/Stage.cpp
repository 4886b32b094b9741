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
        EXPECT_FALSE(line.starts_with("not ")) << line;
    }
    return sent;
}

}  // namespace orv_fuzz
