#include "thread/MtQueue.h"

#include "Descriptor.h"
#include "testing/FailingCalls.h"
#include "testing/thread/DeliveryQueue.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

class PipeQueue final : public Mt::SelectQueue<Counted> {
public:
    using SelectQueue::readFd;
    void pushCode(std::uint32_t code, bool block = false) { push(std::make_unique<Counted>(code), nullptr, block); }
    std::unique_ptr<Counted> popLocked() {
        const Mt::Lock lock(mutex());
        return pop();
    }
    std::string takeBytes() const {
        std::array<char, 1000> bytes{};
        const ssize_t count = ::read(readFd(), bytes.data(), bytes.size());
        return {bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }
};

// In a dispatcher's place: keeps the masks that it is told.
struct WatchedLoop {
    int register_handler(Event_Handler*, unsigned mask) { return registered.push_back(mask), result; }
    int remove_handler(Event_Handler*, unsigned mask) { return removed.push_back(mask), 0; }

    int result = 0;
    std::vector<unsigned> registered;
    std::vector<unsigned> removed;
};

// The number of the next descriptor to be opened.
int nextDescriptor() {
    return Descriptor(dup(0)).get();
}

template <typename Queue, typename... Arguments>
std::string textThrownBy(Arguments&... arguments) {
    try {
        Queue queue(arguments...);
    } catch (const char* text) {
        return text;
    }
    return "nothing";
}

TEST(MtSelectQueue, writesOneByteForEachPush) {
    PipeQueue queue;

    queue.pushCode(1);
    queue.pushCode(2);
    queue.pushCode(3);

    EXPECT_EQ(queue.takeBytes(), "XXX");
    EXPECT_EQ(queue.count(), 3u);
}

TEST(MtSelectQueue, neverBlocksOnItsPipe) {
    PipeQueue queue;

    EXPECT_NE(fcntl(queue.readFd(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(queue.takeBytes(), "");
    for (std::uint32_t i = 0; i < 70000; ++i) {  // more than a pipe holds
        queue.pushCode(i);
    }
    EXPECT_EQ(queue.count(), 70000u);
}

TEST(MtSelectQueue, keepsItsPipeFromProgramsThatTheProcessStarts) {
    const int first = nextDescriptor();
    PipeQueue queue;

    EXPECT_NE(fcntl(first, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(fcntl(nextDescriptor() - 1, F_GETFD) & FD_CLOEXEC, 0);
}

TEST(MtSelectQueue, repeatsAnInterruptedWakeUp) {
    PipeQueue queue;
    const FailingCall wakeUps("wake", "", EINTR, 0, 2);

    queue.pushCode(1);

    EXPECT_EQ(wakeUps.calls(), 3u);
    EXPECT_EQ(queue.takeBytes(), "X");
}

TEST(MtSelectQueue, ignoresAnyOtherErrorOfTheWakeUp) {
    PipeQueue queue;
    const FailingCall wakeUps("wake", "", EAGAIN);

    queue.pushCode(1);

    EXPECT_EQ(wakeUps.calls(), 1u);
    EXPECT_EQ(queue.count(), 1u);
}

TEST(MtSelectQueue, wakesTheConsumerBeforeItWaitsForRoom) {
    PipeQueue queue;
    queue.setWater(1, 0);

    std::jthread pusher([&queue] { queue.pushCode(1, true); });
    pollfd readable{queue.readFd(), POLLIN, 0};
    ASSERT_EQ(poll(&readable, 1, 20000), 1);
    EXPECT_TRUE(queue.full());
    queue.popLocked();
    pusher.join();

    EXPECT_EQ(queue.takeBytes(), "X");
}

TEST(MtSelectQueue, closesItsPipe) {
    const int first = nextDescriptor();
    {
        PipeQueue queue;
        queue.pushCode(1);
        EXPECT_NE(nextDescriptor(), first);
    }

    EXPECT_EQ(nextDescriptor(), first);
    EXPECT_EQ(Counted::alive, 0);
}

TEST(MtSelectQueue, closesTheWriteEndFirst) {
    std::vector<int> closedEnds;
    const OnCall closing("close", "", [&closedEnds](const CallFaults::Made& made) {
        closedEnds.push_back(fcntl(made.file, F_GETFL) & O_ACCMODE);
        return 0;
    });

    { const PipeQueue queue; }

    EXPECT_EQ(closedEnds, (std::vector<int>{O_WRONLY, O_RDONLY}));
}

TEST(MtSelectQueue, throwsATextWhenThereIsNoPipe) {
    const FailingCall pipes("pipe2", "", EMFILE);

    EXPECT_EQ(textThrownBy<PipeQueue>(), "pipe create");
}

TEST(MtSelectQueue, throwsATextWhenEitherEndWouldBlock) {
    for (const unsigned failing : {1u, 2u}) {
        const int first = nextDescriptor();
        const FailingCall setting("fcntl", "", EIO, failing - 1, 1);

        EXPECT_EQ(textThrownBy<PipeQueue>(), "pipe nonblock");
        EXPECT_EQ(setting.calls(), failing);
        EXPECT_EQ(nextDescriptor(), first);
    }
}

TEST(MtEventQueue, throwsATextWhenTheDispatcherRefuses) {
    WatchedLoop loop;
    loop.result = -1;
    const int first = nextDescriptor();

    EXPECT_EQ(textThrownBy<DeliveryQueueOf<WatchedLoop>>(loop), "register_handler failed");
    EXPECT_EQ(nextDescriptor(), first);
}

TEST(MtEventQueue, deliversAndDestroysEveryMessageInOneTurn) {
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);
    std::vector<int> aliveAtDelivery;
    queue.onProcess = [&](std::uint32_t) { aliveAtDelivery.push_back(Counted::alive); };
    for (const std::uint32_t code : {1u, 2u, 3u}) {
        queue.pushCode(code);
    }

    EXPECT_EQ(turn(dispatcher), 1);

    EXPECT_EQ(queue.delivered, (Codes{1, 2, 3}));
    EXPECT_EQ(aliveAtDelivery, (std::vector<int>{3, 2, 1}));
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_EQ(turn(dispatcher), 0);
}

TEST(MtEventQueue, drainsMoreWakeUpsThanOneReadTakes) {
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);
    for (std::uint32_t i = 0; i < 1000; ++i) {
        queue.pushCode(i);
    }

    EXPECT_EQ(turn(dispatcher), 1);

    EXPECT_EQ(queue.delivered.size(), 1000u);
    EXPECT_EQ(turn(dispatcher), 0);
}

TEST(MtEventQueue, goesOnDrainingAfterAnInterruptedRead) {
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);
    for (std::uint32_t i = 0; i < 300; ++i) {  // more than one read takes
        queue.pushCode(i);
    }
    std::vector<int> bytesLeft;  // at each read of the pipe
    {
        const OnCall reads("read", "", [&](const CallFaults::Made& made) {
            if (made.file != queue.readFd()) {
                return 0;
            }
            int bytes = -1;
            EXPECT_EQ(ioctl(made.file, FIONREAD, &bytes), 0);
            bytesLeft.push_back(bytes);
            return bytesLeft.size() % 2 == 1 ? EINTR : 0;  // the first of any two
        });
        EXPECT_EQ(turn(dispatcher), 1);
    }

    EXPECT_EQ(bytesLeft, (std::vector<int>{300, 300, 44, 44}));
    EXPECT_EQ(queue.delivered.size(), 300u);
    EXPECT_EQ(turn(dispatcher), 0);
}

TEST(MtEventQueue, takesAWakeUpWithoutMessage) {
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);
    queue.pushCode(1);
    queue.clear();

    EXPECT_EQ(turn(dispatcher), 1);

    EXPECT_EQ(queue.delivered, Codes{});
    EXPECT_EQ(turn(dispatcher), 0);
}

TEST(MtEventQueue, deliversWhatAHandlerPushesInTheSameTurn) {
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);
    queue.onProcess = [&queue](std::uint32_t code) {
        if (code < 5) {
            queue.pushCode(code + 1);
        }
    };
    queue.pushCode(1);

    turn(dispatcher);

    EXPECT_EQ(queue.delivered, (Codes{1, 2, 3, 4, 5}));
}

TEST(MtEventQueue, leavesTheWakeUpsOfAPushAfterItsLastLook) {
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);
    queue.pushCode(1);
    bool lookedInVain = false;
    int locks = 0;
    const OnCall locking("pthread_mutex_lock", "", [&](const CallFaults::Made&) {
        // The locks after message 1: for the look that finds nothing, and for the one before the pipe is drained.
        if (queue.delivered.size() == 1 && !lookedInVain && ++locks == 2) {
            lookedInVain = true;
            queue.pushCode(2);
        }
        return 0;
    });

    EXPECT_EQ(turn(dispatcher), 1);
    EXPECT_TRUE(lookedInVain);
    EXPECT_EQ(queue.delivered, Codes{1});
    EXPECT_EQ(queue.count(), 1u);
    EXPECT_EQ(turn(dispatcher), 1);

    EXPECT_EQ(queue.delivered, (Codes{1, 2}));
    EXPECT_EQ(turn(dispatcher), 0);
}

TEST(MtEventQueue, destroysTheMessageWhoseHandlerThrowsAndKeepsTheOthers) {
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);
    queue.onProcess = [](std::uint32_t code) {
        if (code == 1) {
            throw std::runtime_error("no");
        }
    };
    queue.pushCode(1);
    queue.pushCode(2);

    EXPECT_THROW(turn(dispatcher), std::runtime_error);
    EXPECT_EQ(Counted::alive, 1);
    turn(dispatcher);

    EXPECT_EQ(queue.delivered, (Codes{1, 2}));
    EXPECT_EQ(Counted::alive, 0);
}

TEST(MtEventQueue, leavesItsDispatcherWhenItIsDestroyed) {
    Dispatcher dispatcher;
    int descriptor = -1;
    {
        DeliveryQueue queue(dispatcher);
        descriptor = queue.readFd();
        queue.pushCode(1);
    }
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const Descriptor reading(ends[0]);
    const Descriptor writing(ends[1]);
    ASSERT_EQ(reading.get(), descriptor);
    ASSERT_EQ(write(writing.get(), "X", 1), 1);

    EXPECT_EQ(turn(dispatcher), 0);

    EXPECT_EQ(Counted::alive, 0);
}

TEST(MtEventQueue, leavesItsDispatcherWhenItIsClosed) {
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);
    queue.pushCode(1);

    EXPECT_EQ(queue.handler()->handle_close(queue.readFd(), Event_Handler::READ), 0);

    EXPECT_EQ(turn(dispatcher), 0);
    EXPECT_EQ(queue.handler()->handle_close(queue.readFd(), Event_Handler::READ), -1);
    EXPECT_EQ(queue.count(), 1u);
}

TEST(MtEventQueue, registersWithMaskOneAndRemovesItselfWithSeventeen) {
    using Masks = std::vector<unsigned>;
    WatchedLoop loop;
    {
        DeliveryQueueOf<WatchedLoop> queue(loop);
        EXPECT_EQ(loop.registered, Masks{1});
        EXPECT_EQ(loop.removed, Masks{});

        EXPECT_EQ(queue.handler()->handle_close(queue.readFd(), Event_Handler::READ), 0);
        EXPECT_EQ(loop.removed, Masks{17});
    }
    loop.removed.clear();
    { const DeliveryQueueOf<WatchedLoop> queue(loop); }

    EXPECT_EQ(loop.registered, (Masks{1, 1}));
    EXPECT_EQ(loop.removed, Masks{17});
}

TEST(MtEventQueue, showsTheDispatcherItsReadEnd) {
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);

    EXPECT_EQ(queue.handler()->get_handle(), queue.readFd());
}

}  // namespace
