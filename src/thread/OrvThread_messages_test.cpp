#include "Hsb_Component.h"
#include "testing/FailingCalls.h"
#include "testing/thread/WorkerFixture.h"
#include "thread/OrvThread.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using Codes = std::vector<std::uint32_t>;
using Entries = std::vector<RecordedEntry>;

class OrvThreadMessages : public WorkerFixture {
protected:
    std::string unknown(const std::string& function, int code) const {
        return line(function,
                    "Thread(" + std::to_string(getpid()) + ") received unknown message code " + std::to_string(code));
    }

    // Waits until so many messages are queued; false when they never are. push() counts a message
    // and fills the queue under one lock.
    template <typename Queue>
    static bool awaitCount(Queue& queue, std::uint32_t count) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (queue.count() != count) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }

    // A body that serves the worker's queue until code 0 arrives.
    static int serveQueue(Worker& self, bool& stop) {
        while (!stop) {
            EXPECT_GE(self.dispatcher().handle_events(nullptr), 0);
        }
        return 0;
    }
};

TEST_F(OrvThreadMessages, travelToTheWorkerAndBackInOrder) {
    bool stop = false;  // the worker's
    Codes answers;
    std::thread::id answeredOn;
    std::thread::id handledOn;
    Worker worker([&stop](Worker& self) { return serveQueue(self, stop); });
    worker.onThreadMesg = [&](OrvToThreadMesg* mesg) {
        handledOn = std::this_thread::get_id();
        EXPECT_EQ(worker.pushToMain(ToMain::make(mesg->code() + 100)), 0);
        stop = mesg->code() == 0;
    };
    worker.onMainMesg = [&](OrvToMainMesg* mesg) {
        answeredOn = std::this_thread::get_id();
        answers.push_back(mesg->code());
    };
    ASSERT_EQ(worker.pushToThread(ToThread::make(1)), 0);  // before it runs
    std::thread thread([&worker] { worker.run(); });

    for (const std::uint32_t code : {2u, 3u, 0u}) {
        EXPECT_EQ(worker.pushToThread(ToThread::make(code)), 0);
    }
    EXPECT_TRUE(serveUntil([&] { return answers.size() == 4; }));
    const std::thread::id workersId = thread.get_id();
    thread.join();

    EXPECT_EQ(answers, (Codes{101, 102, 103, 100}));
    EXPECT_EQ(handledOn, workersId);
    EXPECT_EQ(answeredOn, std::this_thread::get_id());
    EXPECT_EQ(ToMain::alive, 0);
    EXPECT_EQ(ToThread::alive, 0);
}

TEST_F(OrvThreadMessages, ofUnknownCodeToTheWorkerAreOnlyTraced) {
    Worker worker([](Worker& self) {
        const Timeval limit(20, 0);
        return self.dispatcher().handle_events(&limit);
    });
    ASSERT_EQ(worker.pushToThread(ToThread::make(77)), 0);

    EXPECT_EQ(runToTheEnd(worker), 1);

    EXPECT_EQ(file(kWorkerLog), running() + unknown("handleThreadMesg", 77) + terminating("0x1"));
    EXPECT_EQ(recordedEventLog(), Entries{});
}

TEST_F(OrvThreadMessages, ofUnknownCodeToTheMainThreadAreOnlyTraced) {
    const ThreadLogger main("orv.out.Main");
    Worker worker([](Worker& self) {
        EXPECT_EQ(self.pushToMain(ToMain::make(78)), 0);
        return 0;
    });
    runToTheEnd(worker);

    ASSERT_TRUE(serveUntil([] { return ToMain::alive == 0; }));

    EXPECT_EQ(file("orv.out.Main"), unknown("handleMainMesg", 78));
    EXPECT_EQ(file(kWorkerLog), running() + terminating("(nil)"));
    EXPECT_EQ(recordedEventLog(), Entries{});
}

TEST_F(OrvThreadMessages, thatAreStillQueuedGoWithTheWorker) {
    {
        Worker worker;
        ASSERT_EQ(worker.pushToThread(ToThread::make(1)), 0);
        ASSERT_EQ(worker.pushToMain(ToMain::make(1)), 0);
    }

    EXPECT_EQ(ToThread::alive, 0);
    EXPECT_EQ(ToMain::alive, 0);
}

TEST_F(OrvThreadMessages, whoseHandlerThrowsOnTheWorkerEndIt) {
    Worker worker([](Worker& self) {
        const Timeval limit(20, 0);
        return self.dispatcher().handle_events(&limit);
    });
    worker.onThreadMesg = [](OrvToThreadMesg*) { throw -1; };
    ASSERT_EQ(worker.pushToThread(ToThread::make(1)), 0);

    EXPECT_EQ(runToTheEnd(worker), 0);

    EXPECT_EQ(file(kWorkerLog), running() + line("run", "Thread threw an exception") + terminating("(nil)"));
    EXPECT_EQ(ToThread::alive, 0);
}

RecordedEntry ownEntry(bool alarm, int level, std::uint32_t id, const std::string& text) {
    return {alarm, level, id, {-1, -1, -1, -1}, 4096, nullptr, text};
}

Entries memoryAlarms() {
    return {ownEntry(true, 0, 0x10050034, "System resource error - contact technical support"),
            ownEntry(true, 16, 0, "OrvApp - cannot allocate memory")};
}

TEST_F(OrvThreadMessages, whoseHandlerThrowsOnTheMainThreadAreReportedAndDropped) {
    const ThreadLogger main("orv.out.Main");
    Worker worker;
    Codes handled;
    worker.onMainMesg = [&handled](OrvToMainMesg* mesg) {
        handled.push_back(mesg->code());
        if (mesg->code() == 1) {
            throw std::out_of_range("no such entry");
        }
        if (mesg->code() == 2) {
            throw std::bad_alloc();
        }
    };
    for (const std::uint32_t code : {1u, 2u, 4u}) {
        ASSERT_EQ(worker.pushToMain(ToMain::make(code)), 0);
    }

    ASSERT_TRUE(serveUntil([&handled] { return handled.size() == 3; }));

    Entries expected{ownEntry(false, 15, 0x8B000001, "OrvMainMesgQ::process: exception no such entry, event dropped")};
    for (const RecordedEntry& alarm : memoryAlarms()) {
        expected.push_back(alarm);
    }
    EXPECT_EQ(recordedEventLog(), expected);
    EXPECT_EQ(file("orv.out.Main"),
              prefix("OrvGuard", "report") + "OrvMainMesgQ::process: exception no such entry, event dropped\n");
    EXPECT_EQ(ToMain::alive, 0);
}

class OrvThreadWithoutQueue : public OrvThreadMessages {
protected:
    // A worker of which the given queue, 1 towards it or 2 towards the main thread, could not be allocated.
    static std::unique_ptr<Worker> without(unsigned queue) {
        const FailingMemory noMemory(MemoryFaults::kNothrow, queue - 1, kMostTries);
        return std::make_unique<Worker>();
    }

    static constexpr unsigned kMostTries = 64;
};

TEST_F(OrvThreadMessages, reachBothQueuesAlsoWhenMemoryWasShortForAMomentAtTheStart) {
    std::unique_ptr<Worker> worker;
    {
        const FailingMemory noMemory(MemoryFaults::kNothrow, 0, 50);
        worker = std::make_unique<Worker>();
        EXPECT_EQ(noMemory.count(), 52u);
    }

    EXPECT_EQ(worker->pushToThread(ToThread::make(1)), 0);
    EXPECT_EQ(worker->pushToMain(ToMain::make(1)), 0);
    EXPECT_EQ(recordedEventLog(), Entries{});
}

TEST_F(OrvThreadWithoutQueue, towardsItRaisesTheMemoryAlarmsForEachMessage) {
    const std::unique_ptr<Worker> worker = without(1);

    EXPECT_EQ(worker->pushToThread(ToThread::make(1)), -1);

    EXPECT_EQ(recordedEventLog(), memoryAlarms());
    EXPECT_EQ(ToThread::alive, 0);
    EXPECT_EQ(worker->pushToMain(ToMain::make(1)), 0);
}

TEST_F(OrvThreadWithoutQueue, towardsTheMainThreadDropsEachMessage) {
    const ThreadLogger logger(kWorkerLog);
    const std::unique_ptr<Worker> worker = without(2);

    EXPECT_EQ(worker->pushToMain(ToMain::make(1)), -1);
    worker->logFromThread(orv_log::kRecovered);

    EXPECT_EQ(file(kWorkerLog), line("pushToMain", "no queue or no memory, message to the main thread dropped") +
                                    line("pushToMain", "no queue or no memory, message to the main thread dropped"));
    EXPECT_EQ(recordedEventLog(), Entries{});
    EXPECT_EQ(ToMain::alive, 0);
    EXPECT_EQ(worker->pushToThread(ToThread::make(1)), 0);
}

TEST_F(OrvThreadMessages, thatCouldNotBeAllocatedAreRefused) {
    Worker worker;

    EXPECT_EQ(worker.pushToThread(nullptr), -1);
    EXPECT_EQ(worker.pushToMain(nullptr), -1);

    EXPECT_EQ(recordedEventLog(), memoryAlarms());
}

TEST_F(OrvThreadMessages, toTheWorkerNeverWait) {
    Worker worker([](Worker& self) {
        const Timeval limit(20, 0);
        return self.dispatcher().handle_events(&limit);
    });
    worker.toThread()->setWater(1, 0);
    {
        std::jthread pusher([&worker] {
            for (const std::uint32_t code : {1u, 2u}) {
                EXPECT_EQ(worker.pushToThread(ToThread::make(code)), 0);
            }
        });

        EXPECT_TRUE(awaitCount(*worker.toThread(), 2));
        EXPECT_FALSE(worker.toThread()->full());
        runToTheEnd(worker);  // a pusher that waited all the same would go on
    }

    EXPECT_EQ(ToThread::alive, 0);
}

TEST_F(OrvThreadMessages, toTheMainThreadWaitWhileItsQueueIsFull) {
    bool wasFull = false;
    Worker worker([](Worker& self) {
        EXPECT_EQ(self.pushToMain(ToMain::make(1)), 0);
        EXPECT_FALSE(self.toMain()->full());
        return self.pushToMain(ToMain::make(2));
    });
    worker.onMainMesg = [&](OrvToMainMesg*) { wasFull = wasFull || worker.toMain()->full(); };
    worker.toMain()->setWater(2, 0);
    std::jthread thread([&worker] { worker.run(); });

    EXPECT_TRUE(awaitCount(*worker.toMain(), 2));
    EXPECT_TRUE(worker.toMain()->full());
    EXPECT_EQ(worker.refcnt(), 2);
    EXPECT_TRUE(serveUntil([&worker] { return worker.refcnt() == 1; }));

    EXPECT_TRUE(wasFull);
    EXPECT_EQ(ToMain::alive, 0);
}

class Component final : public Hsb_Component {
    int component_name(char*, int) override { return 0; }
    int handle_message(Hsb_Message*) override { return 0; }
};

class OrvThreadSwLog : public OrvThreadMessages {
protected:
    OrvThreadSwLog() { setOrvApplication(&application_); }
    ~OrvThreadSwLog() override { setOrvApplication(nullptr); }

    // What a worker's class does with messages on the main thread.
    static void handle(Worker& worker, OrvToMainMesg* mesg) {
        if (!Worker::handleSwLogApp(mesg)) {
            worker.OrvThread::handleMainMesg(mesg);
        }
    }

    // Runs the body on a worker and serves the main thread until so many entries are written.
    void runAndServe(const Worker::Body& body, std::size_t entries) {
        Worker worker(body);
        worker.onMainMesg = [&worker](OrvToMainMesg* mesg) { handle(worker, mesg); };
        runToTheEnd(worker);
        EXPECT_TRUE(serveUntil([entries] { return recordedEventLog().size() == entries; }));
    }

    Component application_;
};

TEST_F(OrvThreadSwLog, isWrittenByTheMainThreadWithEveryArgument) {
    Component other;

    runAndServe(
        [&other](Worker& self) {
            self.pushSwLogAppMesg(3, 0x8b000013, 5, 6, 77, &other, "100% %s %n");
            EXPECT_EQ(recordedEventLog(), Entries{});  // nothing on the worker
            return 0;
        },
        1);

    EXPECT_EQ(recordedEventLog(), (Entries{{false, 3, 0x8b000013, {5, -1, 6, -1}, 77, &other, "100% %s %n"}}));
}

TEST_F(OrvThreadSwLog, ofTheDaemonIsMarkedAsItsOwn) {
    runAndServe(
        [](Worker& self) {
            self.logFromThread(orv_log::kRetryNow, "10.0.0.1", 25);
            return 0;
        },
        1);

    EXPECT_EQ(recordedEventLog(), (Entries{{false,
                                            3,
                                            0x8b000010,
                                            {-1, -1, -1, -1},
                                            4096,
                                            &application_,
                                            "Will retry sending via SMTP server=10.0.0.1, port=25"}}));
}

TEST_F(OrvThreadSwLog, keeps511CharactersOfAText) {
    runAndServe(
        [](Worker& self) {
            for (const std::size_t length : {511u, 512u, 5000u}) {
                const std::string name(length - std::strlen("Unable to close file "), 'r');
                self.logFromThread(orv_log::kFileUnclosed, name.c_str());
            }
            return 0;
        },
        3);

    for (const RecordedEntry& entry : recordedEventLog()) {
        EXPECT_EQ(entry.text, "Unable to close file " + std::string(490, 'r'));
    }
}

TEST_F(OrvThreadSwLog, pushesWithBlockingAllowed) {
    Worker worker([](Worker& self) {
        self.pushSwLogAppMesg(3, 0x8b000013, -1, -1, 4096, nullptr, "first");
        self.pushSwLogAppMesg(3, 0x8b000013, -1, -1, 4096, nullptr, "second");
        return 0;
    });
    worker.onMainMesg = [&worker](OrvToMainMesg* mesg) { handle(worker, mesg); };
    worker.toMain()->setWater(2, 0);
    std::jthread thread([&worker] { worker.run(); });

    EXPECT_TRUE(awaitCount(*worker.toMain(), 2));
    EXPECT_TRUE(worker.toMain()->full());
    EXPECT_EQ(worker.refcnt(), 2);
    EXPECT_TRUE(serveUntil([&worker] { return worker.refcnt() == 1; }));

    EXPECT_EQ(recordedEventLog().size(), 2u);
}

TEST_F(OrvThreadSwLog, leavesOtherMessagesToTheirHandlers) {
    EXPECT_FALSE(Worker::handleSwLogApp(ToMain::make(1).get()));
    EXPECT_EQ(recordedEventLog(), Entries{});
    EXPECT_EQ(OrvThreadSwLogApp({}).code(), 3u);
}

// Which allocation of the request fails: the text's or the message's.
class OrvThreadSwLogMemory : public OrvThreadSwLog, public testing::WithParamInterface<bool> {};

TEST_P(OrvThreadSwLogMemory, endsTheThreadWhenTheRequestCannotBeAllocated) {
    const bool failText = GetParam();
    bool cameBack = false;
    Worker worker([&cameBack, failText](Worker& self) {
        const FailingMemory noMemory(failText ? MemoryFaults::kThrowing : MemoryFaults::kNothrow);
        self.pushSwLogAppMesg(15, 0x8B000001, -1, -1, 4096, nullptr, "a text that is too long for a short string");
        cameBack = true;
        return 0;
    });
    pthread_t thread{};
    void* exitValue = nullptr;
    ASSERT_EQ(
        pthread_create(
            &thread, nullptr, [](void* self) -> void* { return static_cast<Worker*>(self)->run(), nullptr; }, &worker),
        0);
    ASSERT_EQ(pthread_join(thread, &exitValue), 0);

    EXPECT_FALSE(cameBack);
    EXPECT_EQ(exitValue, reinterpret_cast<void*>(1));
    EXPECT_EQ(file(kWorkerLog), running() + line("pushSwLogAppMesg", "Failure to allocate OrvThreadSwLogApp object") +
                                    line("pushSwLogAppMesg", "thread exiting"));
}

INSTANTIATE_TEST_SUITE_P(Allocation, OrvThreadSwLogMemory, testing::Values(true, false),
                         [](const auto& test) { return test.param ? "ofTheText" : "ofTheMessage"; });

TEST_F(OrvThreadSwLog, arrivesFromManyWorkersWhileTheMainThreadServes) {
    constexpr int kWorkers = 3;
    constexpr int kEntries = 200;
    std::vector<std::unique_ptr<Worker>> workers;
    for (int i = 0; i < kWorkers; ++i) {
        workers.push_back(std::make_unique<Worker>([](Worker& self) {
            for (int entry = 0; entry < kEntries; ++entry) {
                self.logFromThread(orv_log::kUnknownProbe, entry);
            }
            return 0;
        }));
        Worker& worker = *workers.back();
        worker.onMainMesg = [&worker](OrvToMainMesg* mesg) { handle(worker, mesg); };
        ASSERT_EQ(Mt::Threader::launch(worker), 0);
    }

    EXPECT_TRUE(serveUntil([] { return recordedEventLog().size() == kWorkers * kEntries; }));
    EXPECT_TRUE(serveUntil(
        [&workers] { return std::ranges::all_of(workers, [](const auto& worker) { return worker->refcnt() == 1; }); }));
}

}  // namespace
