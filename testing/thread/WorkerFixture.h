// Test support: worker threads whose body and handlers a test writes, and a main thread that serves their messages.
#pragma once

#include "Mt/Threader.h"
#include "dbg/OrvEventLog.h"
#include "testing/dbg/RecordedEventLog.h"
#include "testing/dbg/TraceFixture.h"
#include "testing/thread/ServeUntil.h"
#include "thread/OrvThread.h"

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

class Worker : public OrvThread {
public:
    using Body = std::function<int(Worker&)>;

    explicit Worker(Body body = nullptr, int priority = 0)
        : OrvThread(priority, "orv.out.Worker"), body_(std::move(body)) {}

    using OrvThread::dispatcher;
    using OrvThread::handleSwLogApp;
    using OrvThread::logFromThread;
    using OrvThread::pushSwLogAppMesg;
    using OrvThread::pushToMain;
    using OrvThread::pushToThread;
    using OrvThread::runDispatcher;
    using OrvThread::stopAndWait;
    using OrvThread::toMain;
    using OrvThread::toThread;

    void handleThreadMesg(OrvToThreadMesg* mesg) override {
        onThreadMesg ? onThreadMesg(mesg) : OrvThread::handleThreadMesg(mesg);
    }
    void handleMainMesg(OrvToMainMesg* mesg) override {
        onMainMesg ? onMainMesg(mesg) : OrvThread::handleMainMesg(mesg);
    }

    std::function<void(OrvToThreadMesg*)> onThreadMesg;
    std::function<void(OrvToMainMesg*)> onMainMesg;

private:
    int runThread() override { return body_(*this); }
    const Body body_;
};

// Messages that count themselves.
template <typename Base>
class CountedMesg final : public Base {
public:
    explicit CountedMesg(std::uint32_t code) : Base(code) { ++alive; }
    ~CountedMesg() override { --alive; }
    static std::unique_ptr<CountedMesg> make(std::uint32_t code) { return std::make_unique<CountedMesg>(code); }

    static inline std::atomic<int> alive{0};
};
using ToMain = CountedMesg<OrvToMainMesg>;
using ToThread = CountedMesg<OrvToThreadMesg>;

class WorkerFixture : public TraceFixture {
protected:
    static constexpr char kWorkerLog[] = "orv.out.Worker";

    WorkerFixture() { recordedEventLog().clear(); }

    // Runs the worker on a thread of its own; the result of run().
    static int runToTheEnd(Worker& worker) {
        int result = 0;
        std::thread([&] { result = worker.run(); }).join();
        return result;
    }

    std::string line(const std::string& function, const std::string& message) const {
        return prefix("OrvThread", function) + message + "\n";
    }
    std::string running() const { return line("run", "Thread is running"); }
    std::string terminating(const std::string& retval) const {
        return line("run", "Thread is terminating, retval=" + retval);
    }
};
