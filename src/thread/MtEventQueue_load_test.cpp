// Many producers at once, and more wake-ups than a pipe holds.
#include "testing/thread/DeliveryQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>
#include <vector>

namespace {

constexpr std::uint32_t kProducers = 4;

// Codes are producer * each + number.
std::vector<std::jthread> startProducers(DeliveryQueue& queue, std::uint32_t each, bool block) {
    std::vector<std::jthread> producers;
    for (std::uint32_t producer = 0; producer < kProducers; ++producer) {
        producers.emplace_back([&queue, producer, each, block] {
            for (std::uint32_t number = 0; number < each; ++number) {
                queue.pushCode(producer * each + number, block);
            }
        });
    }
    return producers;
}

// Turns until everything has arrived, or nothing more does.
void serve(Dispatcher& dispatcher, const DeliveryQueue& queue, std::size_t all) {
    const Timeval limit(20, 0);
    while (queue.delivered.size() < all) {
        ASSERT_GT(dispatcher.handle_events(&limit), 0);
    }
}

// Everything, and what one producer pushed in the order in which it did.
void expectWholeAndInOrder(const Codes& delivered, std::uint32_t each) {
    std::array<std::uint32_t, kProducers> next{};
    for (const std::uint32_t code : delivered) {
        ASSERT_LT(code, kProducers * each);
        ASSERT_EQ(code % each, next[code / each]++);
    }
    EXPECT_EQ(delivered.size(), kProducers * each);
}

TEST(MtEventQueue, deliversAHundredThousandRacingPushesInOrder) {
    constexpr std::uint32_t kEach = 25000;
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);

    const std::vector<std::jthread> producers = startProducers(queue, kEach, false);
    serve(dispatcher, queue, kProducers * kEach);

    expectWholeAndInOrder(queue.delivered, kEach);
    EXPECT_EQ(queue.count(), 0u);
}

// The pipe is full long before the last of them: the rest have no byte of their own.
TEST(MtEventQueue, deliversTwoHundredThousandPushesToAConsumerThatWasStoppedInOrder) {
    constexpr std::uint32_t kEach = 50000;
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);
    queue.setWater(8, 2);

    startProducers(queue, kEach, false).clear();  // joined: pushes that may not block never fill the queue
    EXPECT_EQ(queue.count(), kProducers * kEach);
    EXPECT_FALSE(queue.full());
    EXPECT_EQ(turn(dispatcher), 1);

    expectWholeAndInOrder(queue.delivered, kEach);
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_EQ(turn(dispatcher), 0);
}

TEST(MtEventQueue, deliversAHundredThousandRacingPushesBetweenItsWaterMarksInOrder) {
    constexpr std::uint32_t kEach = 25000;
    constexpr std::uint32_t kHigh = 1000;
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);
    queue.setWater(kHigh, 250);
    std::uint32_t most = 0;
    queue.onProcess = [&](std::uint32_t) { most = std::max(most, queue.count()); };

    const std::vector<std::jthread> producers = startProducers(queue, kEach, true);
    serve(dispatcher, queue, kProducers * kEach);

    expectWholeAndInOrder(queue.delivered, kEach);
    EXPECT_LE(most, kHigh + kProducers - 1);  // the push that fills it, and one of each other producer
    EXPECT_FALSE(queue.full());
}

// Every single push waits for its consumer here.
TEST(MtEventQueue, holdsManyProducersBackBetweenNarrowWaterMarks) {
    constexpr std::uint32_t kEach = 500;
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);
    queue.setWater(8, 2);
    std::uint32_t most = 0;
    queue.onProcess = [&](std::uint32_t) { most = std::max(most, queue.count()); };

    const std::vector<std::jthread> producers = startProducers(queue, kEach, true);
    serve(dispatcher, queue, kProducers * kEach);

    expectWholeAndInOrder(queue.delivered, kEach);
    EXPECT_LE(most, 8u + kProducers - 1);
    EXPECT_FALSE(queue.full());
}

// Each producer waits for its own message, so that the queue runs empty all the time: a wake-up that is taken away
// with those of messages before it is missed.
TEST(MtEventQueue, losesNoWakeUpOfPushesThatRaceWithItsLastLook) {
    constexpr std::uint32_t kEach = 5000;
    Dispatcher dispatcher;
    DeliveryQueue queue(dispatcher);
    std::array<std::atomic<std::uint32_t>, kProducers> taken{};
    queue.onProcess = [&taken](std::uint32_t code) {
        ++taken[code / kEach];
        taken[code / kEach].notify_one();
    };

    std::vector<std::jthread> producers;
    for (std::uint32_t producer = 0; producer < kProducers; ++producer) {
        producers.emplace_back([&queue, &taken, producer] {
            for (std::uint32_t number = 0; number < kEach; ++number) {
                queue.pushCode(producer * kEach + number);
                taken[producer].wait(number);
            }
        });
    }
    serve(dispatcher, queue, kProducers * kEach);
    for (auto& count : taken) {  // whoever still waits, in vain, goes too
        count = ~0u;
        count.notify_all();
    }

    expectWholeAndInOrder(queue.delivered, kEach);
}

}  // namespace
