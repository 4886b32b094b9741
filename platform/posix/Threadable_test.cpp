#include "Mt/Threadable.h"

#include "Dispatcher.h"
#include "Mt/Threader.h"
#include "testing/platform/TestHandler.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <functional>
#include <mutex>
#include <stdexcept>

namespace {

class TestThread : public Mt::Threadable {
public:
    explicit TestThread(std::function<int()> body) : body_(std::move(body)) {}
    int run() override { return body_(); }

private:
    std::function<int()> body_;
};

// One thread waits for what another has done.
class Gate {
public:
    void open() {
        const std::lock_guard guard(lock_);
        open_ = true;
        opened_.notify_all();
    }
    void wait() {
        std::unique_lock guard(lock_);
        opened_.wait(guard, [this] { return open_; });
    }

private:
    std::mutex lock_;
    std::condition_variable opened_;
    bool open_ = false;
};

long joined(Mt::Threadable& thread) {
    void* result = nullptr;
    EXPECT_EQ(thread.join(&result), 0);
    return static_cast<long>(reinterpret_cast<std::intptr_t>(result));
}

void ignoreSignal(int /*number*/) {
}

}  // namespace

TEST(Threader, runsTheThreadsBodyOnAnotherThread) {
    pthread_t runner{};
    TestThread thread([&runner] {
        runner = pthread_self();
        return 7;
    });

    ASSERT_EQ(Mt::Threader::launch(thread), 0);

    EXPECT_EQ(joined(thread), 7);
    EXPECT_FALSE(pthread_equal(runner, pthread_self()));
}

TEST(Threader, passesANegativeResultOn) {
    TestThread thread([] { return -1; });

    ASSERT_EQ(Mt::Threader::launch(thread), 0);

    EXPECT_EQ(joined(thread), -1);
}

TEST(Threader, endsAThreadWhoseBodyThrows) {
    TestThread thread([]() -> int { throw std::runtime_error("body"); });

    ASSERT_EQ(Mt::Threader::launch(thread), 0);

    EXPECT_EQ(joined(thread), -1);
}

TEST(Threader, letsAThreadEndItself) {
    TestThread thread([]() -> int { pthread_exit(reinterpret_cast<void*>(std::intptr_t{1})); });

    ASSERT_EQ(Mt::Threader::launch(thread), 0);

    EXPECT_EQ(joined(thread), 1);
}

TEST(Threader, reportsWhatTheSystemRefuses) {
    TestThread thread([] { return 0; });
    sched_param param{};
    param.sched_priority = -1;
    ASSERT_EQ(thread.setSchedPolicy(SCHED_OTHER), 0);
    ASSERT_EQ(thread.setSchedParam(param), 0);

    EXPECT_EQ(Mt::Threader::launch(thread), EINVAL);

    EXPECT_EQ(thread.join(nullptr), ESRCH);
}

TEST(Threadable, knowsItsIdsOnceLaunched) {
    pid_t running = 0;
    Gate known;
    Gate end;
    TestThread thread([&] {
        running = gettid();
        known.open();
        end.wait();
        return 0;
    });
    EXPECT_EQ(thread.getTid(), 0);

    ASSERT_EQ(Mt::Threader::launch(thread), 0);

    known.wait();
    EXPECT_EQ(thread.getTid(), running);
    EXPECT_FALSE(pthread_equal(thread.getId(), pthread_self()));
    end.open();
    joined(thread);
}

TEST(Threadable, seesItsOwnIdWhenItRuns) {
    bool same = false;
    TestThread* self = nullptr;
    TestThread thread([&] {
        same = pthread_equal(self->getId(), pthread_self()) != 0;
        return 0;
    });
    self = &thread;

    ASSERT_EQ(Mt::Threader::launch(thread), 0);

    joined(thread);
    EXPECT_TRUE(same);
}

TEST(Threadable, equalsOnlyItself) {
    Gate end;
    TestThread one([&end] {
        end.wait();
        return 0;
    });
    TestThread other([&end] {
        end.wait();
        return 0;
    });
    ASSERT_EQ(Mt::Threader::launch(one), 0);
    ASSERT_EQ(Mt::Threader::launch(other), 0);

    EXPECT_TRUE(one.equals(one));
    EXPECT_FALSE(one.equals(other));

    end.open();
    joined(one);
    joined(other);
}

TEST(Threadable, canDetachItselfWhileItRuns) {
    int result = -1;
    Gate detached;
    Gate end;
    Gate gone;
    TestThread* self = nullptr;
    TestThread thread([&] {
        result = self->setDetached(true) + self->setDetached(true);
        detached.open();
        end.wait();
        gone.open();
        return 0;
    });
    self = &thread;

    ASSERT_EQ(Mt::Threader::launch(thread), 0);

    detached.wait();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(thread.join(nullptr), EINVAL);
    EXPECT_EQ(thread.setDetached(false), EINVAL);
    end.open();
    gone.wait();
}

TEST(Threadable, canBeDetachedBeforeItIsLaunched) {
    Gate gone;
    TestThread thread([&gone] {
        gone.open();
        return 0;
    });
    ASSERT_EQ(thread.setDetached(true), 0);

    ASSERT_EQ(Mt::Threader::launch(thread), 0);

    EXPECT_EQ(thread.join(nullptr), EINVAL);
    gone.wait();
}

TEST(Threadable, takesAStackSizeThatTheSystemAllows) {
    TestThread thread([] {
        pthread_attr_t attributes;
        std::size_t size = 0;
        pthread_getattr_np(pthread_self(), &attributes);
        pthread_attr_getstacksize(&attributes, &size);
        pthread_attr_destroy(&attributes);
        return size >= (std::size_t{4} << 20) ? 0 : 1;
    });

    EXPECT_EQ(thread.setStackSize(1), EINVAL);
    EXPECT_EQ(thread.setStackSize(std::size_t{4} << 20), 0);

    ASSERT_EQ(Mt::Threader::launch(thread), 0);
    EXPECT_EQ(joined(thread), 0);
}

TEST(Threadable, takesSchedulingThatTheSystemAllows) {
    TestThread thread([] { return 0; });

    EXPECT_EQ(thread.setSchedPolicy(-77), EINVAL);
    EXPECT_EQ(thread.setSchedPolicy(SCHED_OTHER), 0);
    EXPECT_EQ(thread.setSchedParam(sched_param{}), 0);
    EXPECT_EQ(thread.setSchedInherit(false), 0);

    ASSERT_EQ(Mt::Threader::launch(thread), 0);
    EXPECT_EQ(joined(thread), 0);
}

TEST(Threadable, canBeCancelledWhereItAllowsIt) {
    TestThread* self = nullptr;
    TestThread thread([&] {
        int former = -1;
        EXPECT_EQ(self->setCancelType(PTHREAD_CANCEL_DEFERRED, &former), 0);
        EXPECT_EQ(self->setCancelState(PTHREAD_CANCEL_ENABLE, nullptr), 0);
        for (;;) {
            self->testCancel();
        }
        return 0;
    });
    self = &thread;
    ASSERT_EQ(Mt::Threader::launch(thread), 0);

    EXPECT_EQ(thread.cancel(), 0);

    void* result = nullptr;
    ASSERT_EQ(thread.join(&result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

TEST(Threadable, isNotCancelledWhereItForbidsIt) {
    Gate forbidden;
    Gate end;
    TestThread* self = nullptr;
    TestThread thread([&] {
        int former = -1;
        EXPECT_EQ(self->setCancelState(PTHREAD_CANCEL_DISABLE, &former), 0);
        EXPECT_EQ(former, PTHREAD_CANCEL_ENABLE);
        forbidden.open();
        end.wait();
        self->testCancel();
        return 5;
    });
    self = &thread;
    ASSERT_EQ(Mt::Threader::launch(thread), 0);
    forbidden.wait();

    EXPECT_EQ(thread.cancel(), 0);
    end.open();

    EXPECT_EQ(joined(thread), 5);
}

TEST(Threadable, canBeSignalled) {
    Gate end;
    struct sigaction action {};
    action.sa_handler = ignoreSignal;
    struct sigaction former {};
    ASSERT_EQ(sigaction(SIGUSR2, &action, &former), 0);
    TestThread thread([&] {
        end.wait();
        return 0;
    });
    ASSERT_EQ(Mt::Threader::launch(thread), 0);

    EXPECT_EQ(thread.signal(SIGUSR2), 0);
    EXPECT_EQ(thread.signal(-1), EINVAL);

    end.open();
    joined(thread);
    sigaction(SIGUSR2, &former, nullptr);
}

TEST(Threadable, cannotBeReachedBeforeItIsLaunched) {
    TestThread thread([] { return 0; });

    EXPECT_EQ(thread.cancel(), ESRCH);
    EXPECT_EQ(thread.signal(0), ESRCH);
    EXPECT_EQ(thread.join(nullptr), ESRCH);
}

TEST(Threadable, canRunAgainOnceItWasJoined) {
    int runs = 0;
    TestThread thread([&runs] { return ++runs; });

    ASSERT_EQ(Mt::Threader::launch(thread), 0);
    EXPECT_EQ(joined(thread), 1);
    ASSERT_EQ(Mt::Threader::launch(thread), 0);
    EXPECT_EQ(joined(thread), 2);
}

TEST(ThreadsDispatcher, servesAPipeThatWasRegisteredBeforeTheThreadRan) {
    Dispatcher dispatcher;
    SocketPair pair;
    std::vector<std::string> calls;
    TestHandler handler(pair.end(0), calls);
    bool ended = false;
    handler.onInput = [&] {
        ended = true;
        return handler.swallow();
    };
    ASSERT_EQ(dispatcher.register_handler(&handler, Event_Handler::READ), 0);
    TestThread thread([&] {
        while (!ended) {
            if (dispatcher.handle_events(nullptr) < 0) {
                return -1;
            }
        }
        return 0;
    });
    ASSERT_EQ(Mt::Threader::launch(thread), 0);

    pair.feed(1);

    EXPECT_EQ(joined(thread), 0);
    dispatcher.remove_handler(&handler, Event_Handler::DONT_CALL);
}

TEST(ThreadsDispatcher, isWokenByAnotherThread) {
    Dispatcher dispatcher;
    std::atomic<bool> end{false};
    Gate running;
    TestThread thread([&] {
        running.open();
        while (!end) {
            if (dispatcher.handle_events(nullptr) < 0) {
                return -1;
            }
        }
        return 0;
    });
    ASSERT_EQ(Mt::Threader::launch(thread), 0);
    running.wait();

    end = true;
    dispatcher.wake();

    EXPECT_EQ(joined(thread), 0);
}
