#include "thread/MtQueue.h"

#include "testing/FailingCalls.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

class Counted final : public Mt::Message {
public:
    explicit Counted(std::uint32_t code = 0) : Message(code) { ++alive; }
    ~Counted() override { --alive; }

    static inline std::atomic<int> alive{0};
};

class CountedQueue final : public Mt::Queue<Counted> {
public:
    using Queue::pop;
    std::unique_ptr<Counted> popLocked() {
        const Mt::Lock lock(mutex());
        return pop();
    }
    void pushCode(std::uint32_t code, bool block = false) { push(std::make_unique<Counted>(code), nullptr, block); }
};

// True as soon as the condition holds, false when it never does.
template <typename Condition>
bool eventually(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

TEST(MtQueue, givesMessagesBackInOrder) {
    CountedQueue queue;
    for (const std::uint32_t code : {11u, 12u, 13u}) {
        queue.pushCode(code);
    }
    EXPECT_EQ(queue.count(), 3u);

    for (const std::uint32_t code : {11u, 12u, 13u}) {
        const std::unique_ptr<Counted> message = queue.popLocked();
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(message->code(), code);
    }

    EXPECT_EQ(queue.popLocked(), nullptr);
    EXPECT_EQ(queue.count(), 0u);
}

TEST(MtQueue, isUsableAgainAfterItRanEmpty) {
    CountedQueue queue;
    queue.pushCode(1);
    queue.popLocked();

    queue.pushCode(2);
    queue.pushCode(3);

    EXPECT_EQ(queue.popLocked()->code(), 2u);
    EXPECT_EQ(queue.popLocked()->code(), 3u);
}

TEST(MtQueue, numbersMessagesFromOne) {
    CountedQueue queue;
    std::uint32_t first = 0;
    std::uint32_t second = 0;

    queue.push(std::make_unique<Counted>(), &first, false);
    queue.pushCode(0);
    queue.popLocked();
    queue.push(std::make_unique<Counted>(), &second, false);

    EXPECT_EQ(first, 1u);
    EXPECT_EQ(second, 3u);
    EXPECT_EQ(queue.popLocked()->sequence(), 2u);
    EXPECT_EQ(queue.popLocked()->sequence(), 3u);
    EXPECT_EQ(Counted().sequence(), 0u);
}

TEST(MtQueue, destroysWhatItHoldsWhenCleared) {
    CountedQueue queue;
    queue.pushCode(1);
    queue.pushCode(2);

    queue.clear();

    EXPECT_EQ(Counted::alive, 0);
    EXPECT_EQ(queue.count(), 0u);
    EXPECT_EQ(queue.popLocked(), nullptr);
}

TEST(MtQueue, destroysWhatItHoldsWhenItIsDestroyed) {
    {
        CountedQueue queue;
        queue.pushCode(1);
        queue.pushCode(2);
        EXPECT_EQ(Counted::alive, 2);
    }

    EXPECT_EQ(Counted::alive, 0);
}

TEST(MtQueue, neverWaitsWithoutHighWaterMark) {
    CountedQueue queue;

    for (std::uint32_t i = 0; i < 10000; ++i) {
        queue.pushCode(i, true);
    }

    EXPECT_EQ(queue.count(), 10000u);
    EXPECT_FALSE(queue.full());
}

TEST(MtQueue, isNotFilledByPushesThatMayNotBlock) {
    CountedQueue queue;
    queue.setWater(2, 0);

    for (std::uint32_t i = 0; i < 5; ++i) {
        queue.pushCode(i, false);
    }

    EXPECT_EQ(queue.count(), 5u);
    EXPECT_FALSE(queue.full());
}

TEST(MtQueue, holdsAFillingPushUntilTheLowWaterMark) {
    CountedQueue queue;
    queue.setWater(3, 1);
    queue.pushCode(1, true);
    queue.pushCode(2, true);
    EXPECT_FALSE(queue.full());
    std::atomic<bool> drained{false};
    std::atomic<bool> returnedEarly{false};

    std::jthread pusher([&] {
        queue.pushCode(3, true);
        returnedEarly = !drained;
    });
    ASSERT_TRUE(eventually([&] { return queue.full(); }));
    queue.popLocked();
    EXPECT_TRUE(queue.full());  // two left, one is the mark
    drained = true;
    queue.popLocked();
    EXPECT_FALSE(queue.full());
    pusher.join();

    EXPECT_FALSE(returnedEarly);
    EXPECT_EQ(queue.count(), 1u);
}

TEST(MtQueue, holdsEveryPusherWhileItIsFull) {
    CountedQueue queue;
    queue.setWater(1, 0);
    std::atomic<bool> drained{false};
    std::atomic<int> returnedEarly{0};
    std::vector<std::jthread> pushers;

    pushers.emplace_back([&] {
        queue.pushCode(1, true);
        returnedEarly += drained ? 0 : 1;
    });
    ASSERT_TRUE(eventually([&] { return queue.full(); }));
    for (int i = 0; i < 3; ++i) {
        pushers.emplace_back([&] {
            queue.pushCode(2, false);
            returnedEarly += drained ? 0 : 1;
        });
    }
    ASSERT_TRUE(eventually([&] { return queue.count() == 4; }));
    drained = true;
    while (queue.popLocked() != nullptr) {
    }
    pushers.clear();

    EXPECT_EQ(returnedEarly, 0);
    EXPECT_FALSE(queue.full());
}

TEST(MtQueue, signalsAPushThatMakesTheCountOne) {
    CountedQueue queue;
    const FailingCall signals("pthread_cond_signal", "", 0);

    queue.pushCode(1);
    EXPECT_EQ(signals.calls(), 1u);
    queue.pushCode(2);
    EXPECT_EQ(signals.calls(), 1u);
    queue.clear();
    queue.pushCode(3);

    EXPECT_EQ(signals.calls(), 2u);
}

TEST(MtQueue, signalsAtAnotherCountWhenAsked) {
    CountedQueue queue;
    queue.setSignalAt(3);
    const FailingCall signals("pthread_cond_signal", "", 0);

    queue.pushCode(1);
    queue.pushCode(2);
    EXPECT_EQ(signals.calls(), 0u);
    queue.pushCode(3);
    EXPECT_EQ(signals.calls(), 1u);
    queue.pushCode(4);

    EXPECT_EQ(signals.calls(), 1u);
}

}  // namespace
