// What the client does when there is no memory for a message between its threads.
#include "smtp/ClientFixture.h"

#include <gmock/gmock.h>

#include <new>

// The name that the compiler gives to the allocation that does not throw; the program is linked with --wrap for it.
#if __SIZEOF_POINTER__ == 8
#define ORV_WRAPPED_NEW __wrap__ZnwmRKSt9nothrow_t
#define ORV_REAL_NEW __real__ZnwmRKSt9nothrow_t
#else
#define ORV_WRAPPED_NEW __wrap__ZnwjRKSt9nothrow_t
#define ORV_REAL_NEW __real__ZnwjRKSt9nothrow_t
#endif

namespace {

// The allocation of the calling thread that fails: 1 is the next one, 0 none.
thread_local int failing = 0;

}  // namespace

extern "C" {
void* ORV_REAL_NEW(std::size_t size, const std::nothrow_t& tag);
void* ORV_WRAPPED_NEW(std::size_t size, const std::nothrow_t& tag) {
    if (failing > 0 && --failing == 0) {
        return nullptr;
    }
    return ORV_REAL_NEW(size, tag);
}
}

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;

using OrvCHClientMemory = ClientTest;

TEST_F(OrvCHClientMemory, endsItsThreadWhenItCannotTellASuccess) {
    useServerA();
    OrvCHClientSend send(&queueMail("mail"));
    failing = 1;

    client_.handleThreadMesg(&send);

    EXPECT_THAT(recording_.takeTraces(),
                IsSupersetOf({"OrvCHClient pushOutcome: Failure to allocate OrvCHClientSucceed object\n",
                              "OrvCHClient pushOutcome: Send thread exiting\n"}));
    EXPECT_EQ(client_.startThread(), 0);
    serveUntil([&] { return client_.running() && client_.refcnt() == 1; });
}

TEST_F(OrvCHClientMemory, endsItsThreadWhenItCannotTellAFailure) {
    serverA_.refuseConnections();
    useServerA();
    OrvCHClientSend send(&queueMail("mail"));
    failing = 2;  // the first is the critical failure's entry

    client_.handleThreadMesg(&send);

    EXPECT_THAT(recording_.takeTraces(),
                IsSupersetOf({"OrvCHClient pushOutcome: Failure to allocate OrvCHClientFail object\n",
                              "OrvCHClient pushOutcome: Send thread exiting\n"}));
}

TEST_F(OrvCHClientMemory, endsTheProcessWhenItCannotHandAMessageOver) {
    useServerA();
    startSending();
    queueMail("mail");
    recording_.takeTraces();

    EXPECT_EXIT(
        {
            failing = 1;
            client_.oneSecondTick();
        },
        testing::ExitedWithCode(1), "");

    EXPECT_THAT(recording_.takeTraces(),
                IsSupersetOf({"OrvCHClient pushSendMesg: Failure to allocate OrvCHClientSend object\n",
                              "OrvCHClient pushSendMesg: Main thread exiting\n"}));
    tick();
    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "delete mail 0")) << "in this process all is well";
}
