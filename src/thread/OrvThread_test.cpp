#include "thread/OrvThread.h"

#include "Descriptor.h"
#include "testing/FailingCalls.h"
#include "testing/thread/WorkerFixture.h"

#include <pthread.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

namespace {

class OrvThreadTest : public WorkerFixture {};

TEST_F(OrvThreadTest, runsItsBodyAndTracesBothEnds) {
    Worker worker([](Worker&) { return 7; });

    EXPECT_EQ(runToTheEnd(worker), 7);

    EXPECT_EQ(file(kWorkerLog), running() + terminating("0x7"));
    EXPECT_EQ(worker.retval(), 7);
}

TEST_F(OrvThreadTest, tracesAResultOfZeroAsTheNullPointer) {
    Worker worker([](Worker&) { return 0; });

    EXPECT_EQ(runToTheEnd(worker), 0);

    EXPECT_EQ(file(kWorkerLog), running() + terminating("(nil)"));
}

TEST_F(OrvThreadTest, holdsAReferenceWhileItRuns) {
    std::int32_t during = 0;
    Worker worker([&during](Worker& self) {
        during = self.refcnt();
        return 0;
    });
    EXPECT_EQ(worker.refcnt(), 1);

    runToTheEnd(worker);

    EXPECT_EQ(during, 2);
    EXPECT_EQ(worker.refcnt(), 1);
}

TEST_F(OrvThreadTest, tracesWithItsOwnLoggerWhileItRunsAndWithNoneAfterwards) {
    const ThreadLogger main("orv.out.Main");
    std::thread thread([] {
        Worker worker([](Worker&) {
            orvTrace("Body", "runThread", "at work\n");
            return 0;
        });
        worker.run();
        EXPECT_EQ(OrvDbg::ofThread(), nullptr);
    });
    thread.join();

    EXPECT_EQ(file(kWorkerLog), running() + prefix("Body", "runThread") + "at work\n" + terminating("(nil)"));
    EXPECT_EQ(file("orv.out.Main"), "");
}

TEST_F(OrvThreadTest, cannotBeCancelledAndHasItsPriority) {
    const int before = getpriority(PRIO_PROCESS, 0);  // the test itself may have been started nicely
    const int priority = std::min(before + 5, 19);
    int cancelState = -1;
    int nice = 0;
    Worker worker(
        [&](Worker&) {
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
            nice = getpriority(PRIO_PROCESS, 0);
            return 0;
        },
        priority);

    runToTheEnd(worker);

    EXPECT_EQ(cancelState, PTHREAD_CANCEL_DISABLE);
    EXPECT_EQ(nice, priority);
    EXPECT_EQ(getpriority(PRIO_PROCESS, 0), before);
}

TEST_F(OrvThreadTest, runsDetachedWhenItIsLaunched) {
    std::atomic<int> detachState{-1};
    Worker worker([&detachState](Worker&) {
        pthread_attr_t attributes;
        int state = -1;
        pthread_getattr_np(pthread_self(), &attributes);
        pthread_attr_getdetachstate(&attributes, &state);
        pthread_attr_destroy(&attributes);
        detachState = state;
        return 3;
    });

    ASSERT_EQ(Mt::Threader::launch(worker), 0);

    ASSERT_TRUE(serveUntil([&] { return detachState != -1 && worker.refcnt() == 1; }));
    EXPECT_EQ(detachState, PTHREAD_CREATE_DETACHED);
    EXPECT_EQ(worker.join(nullptr), EINVAL);
    EXPECT_EQ(worker.retval(), 3);
    EXPECT_EQ(file(kWorkerLog), running() + terminating("0x3"));
}

TEST_F(OrvThreadTest, tracesAPriorityThatIsRefusedAndGoesOn) {
    Worker worker([](Worker&) { return 1; }, -5);
    std::thread([&worker] {
        const FailingCall setting("setpriority", "", EACCES);
        worker.run();
    }).join();

    EXPECT_EQ(file(kWorkerLog),
              running() + line("run", "setpriority failed, " + std::to_string(EACCES)) + terminating("0x1"));
}

TEST_F(OrvThreadTest, tracesAnExceptionOfItsBodyAndKeepsItsResult) {
    Worker worker([](Worker&) -> int { throw std::runtime_error("body"); });

    EXPECT_EQ(runToTheEnd(worker), 0);

    EXPECT_EQ(file(kWorkerLog), running() + line("run", "Thread threw an exception") + terminating("(nil)"));
    EXPECT_EQ(worker.refcnt(), 1);
}

TEST_F(OrvThreadTest, catchesAnythingThatItsBodyThrows) {
    Worker worker([](Worker&) -> int { throw -1; });

    EXPECT_EQ(runToTheEnd(worker), 0);

    EXPECT_EQ(file(kWorkerLog), running() + line("run", "Thread threw an exception") + terminating("(nil)"));
}

// The result of run() on a new thread that cannot set its logger.
int runWithoutLogger(Worker& worker) {
    int result = 0;
    std::thread([&] {
        const FailingCall setting("pthread_setspecific", "", ENOMEM);
        result = worker.run();
    }).join();
    return result;
}

TEST_F(OrvThreadTest, neverRunsItsBodyWhenItsLoggerCannotBeSet) {
    bool ran = false;
    Worker worker([&ran](Worker&) {
        ran = true;
        return 0;
    });

    testing::internal::CaptureStderr();
    EXPECT_EQ(runWithoutLogger(worker), -1);

    EXPECT_EQ(testing::internal::GetCapturedStderr(), "orvApp: orv.out.Worker: Thread is terminating, retval=-1\n");
    EXPECT_FALSE(ran);
    EXPECT_EQ(worker.retval(), -1);
    EXPECT_EQ(worker.refcnt(), 1);
    EXPECT_EQ(file(kWorkerLog), "");
}

TEST_F(OrvThreadTest, neverRunsItsBodyWhenItsLoggerCannotBeAllocated) {
    bool ran = false;
    Worker worker([&ran](Worker&) {
        ran = true;
        return 0;
    });

    int result = 0;
    std::thread([&] {
        const FailingMemory noMemory(MemoryFaults::kThrowing);
        result = worker.run();
    }).join();

    EXPECT_EQ(result, -1);
    EXPECT_FALSE(ran);
    EXPECT_EQ(worker.retval(), -1);
    EXPECT_EQ(worker.refcnt(), 1);
    EXPECT_FALSE(exists(kWorkerLog));
}

TEST_F(OrvThreadTest, runsWithASilentLoggerWhenItsFileCannotBeOpened) {
    std::filesystem::create_directory(onHost("/tmp/orv.out.Worker"));
    Worker worker([](Worker&) { return 4; });

    EXPECT_EQ(runToTheEnd(worker), 4);
}

// An owner that goes waits for a thread that never came to its body as for any other.
TEST_F(OrvThreadTest, isWaitedForAndDestroyedWhenItsLoggerCouldNotBeSet) {
    bool destroyed = false;
    int result = 0;
    {
        struct Owned final : Worker {
            explicit Owned(bool& gone) : gone_(gone) {}
            ~Owned() override {
                stopAndWait();
                gone_ = true;
            }
            bool& gone_;
        } worker(destroyed);
        result = runWithoutLogger(worker);
        EXPECT_EQ(worker.refcnt(), 1);
    }

    EXPECT_EQ(result, -1);
    EXPECT_TRUE(destroyed);
}

class Mortal final : public OrvThread {
public:
    Mortal(bool& destroyed, std::function<int(Mortal&)> body)
        : OrvThread(0, "orv.out.Worker"), destroyed_(destroyed), body_(std::move(body)) {}
    ~Mortal() override { destroyed_ = true; }

private:
    int runThread() override { return body_(*this); }
    bool& destroyed_;
    const std::function<int(Mortal&)> body_;
};

TEST_F(OrvThreadTest, isDestroyedWithItsLastReference) {
    bool destroyed = false;
    auto* const worker = new Mortal(destroyed, nullptr);

    worker->decRef();

    EXPECT_TRUE(destroyed);
}

TEST_F(OrvThreadTest, givesItsResultEvenWhenItGoesWithTheReferenceOfRun) {
    bool destroyed = false;
    bool destroyedDuringBody = true;
    auto* const worker = new Mortal(destroyed, [&](Mortal& self) {
        self.decRef();  // the owner's
        destroyedDuringBody = destroyed;
        return 42;
    });
    int result = 0;

    std::thread([&] { result = worker->run(); }).join();

    EXPECT_FALSE(destroyedDuringBody);
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(result, 42);
}

TEST_F(OrvThreadTest, endsTheTraceOfTheThreadThatDropsAReference) {
    bool destroyed = false;
    std::thread([&destroyed] {
        ASSERT_EQ(OrvDbg::setOfThread(new OrvDbg("orv.out.Dropper")), 0);
        (new Mortal(destroyed, nullptr))->decRef();

        EXPECT_EQ(OrvDbg::ofThread(), nullptr);
        EXPECT_EQ(orvTrace("A", "b", "late\n"), -1);
    }).join();

    EXPECT_TRUE(destroyed);
    EXPECT_EQ(file("orv.out.Dropper"), "");
}

TEST_F(OrvThreadTest, canStillTraceInItsDestructor) {
    struct Talking final : OrvThread {
        Talking() : OrvThread(0, "orv.out.Worker") {}
        ~Talking() override { orvTrace("Talking", "~Talking", "going\n"); }
        int runThread() override { return 0; }
    };
    std::thread([] {
        ASSERT_EQ(OrvDbg::setOfThread(new OrvDbg("orv.out.Dropper")), 0);
        (new Talking)->decRef();
    }).join();

    EXPECT_EQ(file("orv.out.Dropper"), prefix("Talking", "~Talking") + "going\n");
}

// Whether the body ends by pthread_exit or returns.
class OrvThreadOwned : public OrvThreadTest, public testing::WithParamInterface<bool> {};

TEST_P(OrvThreadOwned, isWaitedForUntilItsBodyHasEnded) {
    std::atomic<bool> ownerWaits{false};
    std::atomic<bool> ownerIsBack{false};
    std::atomic<bool> bodyEnded{false};
    const bool exits = GetParam();
    Worker worker([&, exits](Worker& self) {
        const int result = self.runDispatcher();
        while (!ownerWaits && !ownerIsBack) {
            std::this_thread::yield();
        }
        bodyEnded = true;
        if (exits) {
            pthread_exit(nullptr);
        }
        return result;
    });
    pthread_t thread{};
    ASSERT_EQ(
        pthread_create(
            &thread, nullptr, [](void* self) -> void* { return static_cast<Worker*>(self)->run(), nullptr; }, &worker),
        0);
    {
        const StepBeforeCall waiting("pthread_cond_wait", "", [&ownerWaits] { ownerWaits = true; });

        worker.stopAndWait();

        EXPECT_TRUE(bodyEnded);
        EXPECT_EQ(worker.refcnt(), 1);
    }
    ownerIsBack = true;
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
}

INSTANTIATE_TEST_SUITE_P(Body, OrvThreadOwned, testing::Bool(),
                         [](const auto& test) { return test.param ? "thatExits" : "thatReturns"; });

TEST_F(OrvThreadTest, endsByPthreadExitWithoutItsLastLine) {
    Worker worker([](Worker&) -> int {
        struct Unwound {
            ~Unwound() { orvTrace("Body", "~Unwound", "unwound\n"); }
        } const unwound;
        pthread_exit(reinterpret_cast<void*>(1));
    });
    pthread_t thread{};
    void* exitValue = nullptr;

    ASSERT_EQ(
        pthread_create(
            &thread, nullptr, [](void* self) -> void* { return static_cast<Worker*>(self)->run(), nullptr; }, &worker),
        0);
    ASSERT_EQ(pthread_join(thread, &exitValue), 0);

    EXPECT_EQ(exitValue, reinterpret_cast<void*>(1));
    EXPECT_EQ(file(kWorkerLog), running() + prefix("Body", "~Unwound") + "unwound\n");
    EXPECT_EQ(worker.refcnt(), 1);
}

TEST_F(OrvThreadTest, throwsTheQueuesTextsAndLeavesNothingOpen) {
    for (const unsigned failing : {1u, 2u}) {
        const int before = Descriptor(dup(0)).get();
        const FailingCall pipes("pipe2", "", EMFILE, failing - 1, 1);

        EXPECT_THROW(Worker(), const char*);

        EXPECT_EQ(pipes.calls(), failing);
        const int after = Descriptor(dup(0)).get();
        EXPECT_EQ(after, before);
    }
}

}  // namespace
