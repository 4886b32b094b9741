// A program of its own, in which no thread ever runs: the emulator of the target cannot fork reliably otherwise.
#include "thread/OrvThread.h"

#include <gtest/gtest.h>

namespace {

class DropsOneTooMany final : public OrvThread {
public:
    DropsOneTooMany() : OrvThread(0, "orv.out.Worker") {}
    ~DropsOneTooMany() override { decRef(); }

private:
    int runThread() override { return 0; }
};

TEST(OrvThreadDeathTest, stopsTheProcessWhenAReferenceTooManyIsDropped) {
    EXPECT_DEATH((new DropsOneTooMany)->decRef(), "assertion \"refcnt > 0\" failed");
}

}  // namespace
