// A program of its own: the key is made once per process, and here it cannot be.
#include "testing/FailingCalls.h"
#include "testing/dbg/TraceFixture.h"

#include <cerrno>

namespace {

class OrvDbgWithoutKey : public TraceFixture {
protected:
    const FailingCall keys_{"pthread_key_create", "", EAGAIN};
};

TEST_F(OrvDbgWithoutKey, saysSoAndTracesNothing) {
    OrvDbg logger("orv.out.Main");

    EXPECT_EQ(OrvDbg::createKey(), -1);
    EXPECT_EQ(OrvDbg::setOfThread(&logger), -1);
    EXPECT_EQ(OrvDbg::ofThread(), nullptr);
    EXPECT_EQ(orvTrace("A", "b", "x\n"), -1);
    EXPECT_EQ(orvTraceParts("A", "b", {"x", "y", "\n"}), -1);
    EXPECT_EQ(file("orv.out.Main"), "");
}

}  // namespace
