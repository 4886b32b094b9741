// A worker thread: its own event loop, a queue towards it and a queue towards the main thread.
//
// The owner makes it on the main thread, launches it with Mt::Threader::launch, and keeps it to the end of the
// process. A worker never touches the bus: what it has to say there goes through pushToMain.
#pragma once

#include "Dispatcher.h"
#include "Mt/Threadable.h"
#include "base/OrvMutex.h"
#include "dbg/OrvEventLog.h"
#include "thread/MtQueue.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

class Hsb_Component;

class OrvThread;

// The daemon's messages between threads. One thread at a time; a queue owns them in between.
class OrvMesg : public Mt::Message {
public:
    using Message::Message;
};

// From a worker thread to the main thread.
class OrvToMainMesg : public OrvMesg {
public:
    using OrvMesg::OrvMesg;
};

// From the main thread to a worker thread.
class OrvToThreadMesg : public OrvMesg {
public:
    using OrvMesg::OrvMesg;
};

// A worker's request that the main thread write an entry to the event log.
class OrvThreadSwLogApp : public OrvToMainMesg {
public:
    static constexpr std::uint32_t kCode = 3;

    // What app_log gets; its fourth and sixth arguments are always -1.
    struct Entry {
        std::uint32_t level = 0;
        std::uint32_t id = 0;
        int arg1 = -1;
        int arg2 = -1;
        std::uint32_t flags = 0;
        Hsb_Component* component = nullptr;  // not owned
        std::string text;
    };

    explicit OrvThreadSwLogApp(Entry entry) : OrvToMainMesg(kCode), entry_(std::move(entry)) {}

    const Entry& entry() const { return entry_; }
    // To be filled in while the request is its maker's.
    Entry& entry() { return entry_; }

private:
    Entry entry_;
};

// From the main thread to one worker thread: delivers to the worker object's handleThreadMesg, on the worker.
class OrvThreadMesgQ final : public Mt::EventQueue<OrvToThreadMesg> {
public:
    // The owner outlives the queue. Throws a text, see Mt::EventQueue.
    OrvThreadMesgQ(OrvThread& owner, Dispatcher& dispatcher) : EventQueue(dispatcher), owner_(owner) {}

    // An exception goes on through the thread's loop to its body.
    void process(OrvToThreadMesg* mesg) override;

private:
    OrvThread& owner_;
};

// From one worker thread to the main thread: delivers to the worker object's handleMainMesg, on the main thread.
class OrvMainMesgQ final : public Mt::EventQueue<OrvToMainMesg> {
public:
    // The owner outlives the queue. Throws a text, see Mt::EventQueue.
    OrvMainMesgQ(OrvThread& owner, Dispatcher& dispatcher) : EventQueue(dispatcher), owner_(owner) {}

    // An exception is reported, and the message dropped.
    void process(OrvToMainMesg* mesg) override;

private:
    OrvThread& owner_;
};

class OrvThread : public Mt::Threadable {
public:
    // priority: the nice value the thread gives itself. Throws a text (const char*) when a queue cannot be set up.
    OrvThread(int priority, const char* loggerName);

    // The thread's entry. The result of the body, or -1 when there is no logger for the thread; then nothing runs.
    int run() override ORV_EXCLUDES(refMutex_);

    // A message from the main thread. On the worker thread.
    virtual void handleThreadMesg(OrvToThreadMesg* mesg);
    // A message from this worker. On the main thread.
    virtual void handleMainMesg(OrvToMainMesg* mesg);

    // Drops one reference, the last one with the object, and ends the calling thread's trace: it is the worker's own
    // way out. An owner never calls it.
    void decRef() ORV_EXCLUDES(refMutex_);

    // Any thread.
    std::int32_t refcnt() ORV_EXCLUDES(refMutex_);
    // The thread has left this object for good.
    bool ended() ORV_EXCLUDES(refMutex_);
    int retval() const { return retval_; }

protected:
    // What a text for the event log takes on its way to the main thread, with its end.
    static constexpr std::size_t kLogTextSize = 512;

    // The body; the thread ends when it returns.
    virtual int runThread() = 0;

    // Worker thread (or before it runs).
    Dispatcher& dispatcher() { return dispatcher_; }
    // Serves the thread's loop until it fails (-1) or stopAndWait() was called (0). Worker thread.
    [[nodiscard]] int runDispatcher();
    // Lets runDispatcher() end after the turn that is running. Worker thread.
    void endDispatcher() { stopping_ = true; }

    // Ends runDispatcher() and waits until the thread has left this object; what it is doing comes to its end first.
    // For an owner that goes before the process does, after a successful launch, once. Not on the worker thread.
    void stopAndWait() ORV_EXCLUDES(refMutex_);

    // For their water marks: a queue whose owner sets none is never full. Null when memory was short.
    OrvThreadMesgQ* toThread() const { return toThread_.get(); }
    OrvMainMesgQ* toMain() const { return toMain_.get(); }

    // Main thread. 0; or -1 without a queue or a message, after the memory alarms: the message is destroyed.
    [[nodiscard]] int pushToThread(std::unique_ptr<OrvToThreadMesg> mesg);
    // Worker thread. 0, or -1 without a queue or a message: the message is destroyed.
    [[nodiscard]] int pushToMain(std::unique_ptr<OrvToMainMesg> mesg);

    // Has the main thread write an entry to the event log. Ends the calling thread when memory is short.
    // Worker thread.
    void pushSwLogAppMesg(std::uint32_t level, std::uint32_t id, int arg1, int arg2, std::uint32_t flags,
                          Hsb_Component* component, const char* text);
    // The same for an entry of the catalogue, of whose text 511 characters are kept. Worker thread.
    template <typename... Arguments>
    void logFromThread(const OrvLogEntry<Arguments...>& entry, std::type_identity_t<Arguments>... arguments) {
        char text[kLogTextSize];
        orvFillEntry(text, entry, arguments...);
        logTextFromThread(entry, text);
    }
    // Likewise with a text that is filled in already.
    void logTextFromThread(const OrvLogKind& entry, const char* text);
    // Writes the entry that the worker asked for; false when the message is another one. Main thread.
    static bool handleSwLogApp(const OrvToMainMesg* mesg);

private:
    int setUpLogger() const;
    void addRef() ORV_EXCLUDES(refMutex_);
    void tellEnded() ORV_EXCLUDES(refMutex_);

    Mt::Mutex refMutex_;
    std::int32_t refcnt_ ORV_GUARDED_BY(refMutex_) = 1;
    // The thread will not touch this object any more.
    bool ended_ ORV_GUARDED_BY(refMutex_) = false;
    Mt::CondLock endedCond_;
    std::atomic<bool> stopping_{false};
    const int priority_;
    std::atomic<int> retval_{0};
    const std::string name_;
    // The owner's until the thread runs and after it has ended, the thread's in between. Before the queues, which leave
    // it when they are destroyed.
    Dispatcher dispatcher_;
    const std::unique_ptr<OrvThreadMesgQ> toThread_;  // null when memory was short
    const std::unique_ptr<OrvMainMesgQ> toMain_;      // null when memory was short
};
