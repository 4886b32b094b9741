// A program of its own: the key is made once per process, and here it cannot be.
#include "dbg/TraceFixture.h"

#include <pthread.h>

#include <cerrno>

extern "C" int __real_pthread_key_create(pthread_key_t* key, void (*destroy)(void*));

// The trace's key is the one without destructor.
extern "C" int __wrap_pthread_key_create(pthread_key_t* key, void (*destroy)(void*)) {
    return destroy == nullptr ? EAGAIN : __real_pthread_key_create(key, destroy);
}

namespace {

class OrvDbgWithoutKey : public TraceFixture {};

TEST_F(OrvDbgWithoutKey, saysSoAndTracesNothing) {
    OrvDbg logger("orv.out.Main");

    EXPECT_EQ(OrvDbg::createKey(), -1);
    EXPECT_EQ(OrvDbg::setOfThread(&logger), -1);
    EXPECT_EQ(OrvDbg::ofThread(), nullptr);
    EXPECT_EQ(orvTrace("A", "b", "x\n"), -1);
    EXPECT_EQ(orvTraceParts("A", "b", "x", "y", "\n"), -1);
    EXPECT_EQ(file("orv.out.Main"), "");
}

}  // namespace
