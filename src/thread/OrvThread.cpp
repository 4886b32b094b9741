#include "thread/OrvThread.h"

#include "app_log.h"
#include "base/OrvSteps.h"
#include "base/OrvTell.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <new>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvThread";

// Null when memory is short, for the text too.
std::unique_ptr<OrvThreadSwLogApp> makeSwLogApp(OrvThreadSwLogApp::Entry entry, const char* text) {
    try {
        entry.text = text;
        return std::unique_ptr<OrvThreadSwLogApp>(new (std::nothrow) OrvThreadSwLogApp(std::move(entry)));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// Null when there is no memory for it all the time; what its construction throws all the time goes on.
template <typename Queue>
std::unique_ptr<Queue> makeQueue(OrvThread& thread, Dispatcher& dispatcher) {
    constexpr int kMostTries = 64;
    std::unique_ptr<Queue> queue;
    for (int tries = 0; queue == nullptr && tries < kMostTries; ++tries) {
        queue = orvPersistently([&] { return std::unique_ptr<Queue>(new (std::nothrow) Queue(thread, dispatcher)); });
    }
    return queue;
}

// The key is cleared too: a late trace on this thread must not meet a logger that is gone.
void deleteLoggerOfThread() {
    const std::unique_ptr<OrvDbg> logger(OrvDbg::ofThread());
    if (logger != nullptr) {
        [[maybe_unused]] const int result = OrvDbg::setOfThread(nullptr);
    }
}

}  // namespace

void OrvThreadMesgQ::process(OrvToThreadMesg* mesg) {
    owner_.handleThreadMesg(mesg);
}

void OrvMainMesgQ::process(OrvToMainMesg* mesg) {
    orvGuarded("OrvMainMesgQ::process", [this, mesg] {
        owner_.handleMainMesg(mesg);
        return 0;
    });
}

OrvThread::OrvThread(int priority, const char* loggerName)
    : priority_(priority),
      name_(loggerName),
      toThread_(makeQueue<OrvThreadMesgQ>(*this, dispatcher_)),
      toMain_(makeQueue<OrvMainMesgQ>(*this, *Dispatcher::instance())) {
}

int OrvThread::run() {
    if (setUpLogger() < 0) {
        retval_ = -1;
        orvTell("%s: Thread is terminating, retval=-1", name_.c_str());  // it has no trace to say so
        tellEnded();
        return -1;
    }
    addRef();
    ORV_TRACE("Thread is running\n");
    setDetached(true);
    setCancelState(PTHREAD_CANCEL_DISABLE, nullptr);
    if (setpriority(PRIO_PROCESS, 0, priority_) < 0) {
        ORV_TRACE("setpriority failed, %d\n", errno);
    }
    try {
        retval_ = runThread();
    } catch (...) {
        if (std::current_exception() == nullptr) {  // pthread_exit: it unwinds like an exception, and has to go on
            decRef();
            throw;
        }
        ORV_TRACE("Thread threw an exception\n");
    }
    const int retval = retval_;  // the object may go with the reference
    ORV_TRACE("Thread is terminating, retval=%p\n", reinterpret_cast<void*>(static_cast<std::intptr_t>(retval)));
    decRef();
    return retval;
}

int OrvThread::setUpLogger() const {
    if (OrvDbg::createKey() < 0) {
        return -1;  // before the logger empties the file of the last run
    }
    try {
        auto logger = orvPersistently([this] { return std::make_unique<OrvDbg>(name_.c_str()); });
        if (OrvDbg::setOfThread(logger.get()) < 0) {
            return -1;
        }
        static_cast<void>(logger.release());  // the thread's own from here on
        return 0;
    } catch (const std::exception&) {
        return -1;
    }
}

// The thread's last access to this object.
void OrvThread::tellEnded() {
    const Mt::Lock lock(refMutex_);
    ended_ = true;
    endedCond_.broadcast();
}

void OrvThread::addRef() {
    const Mt::Lock lock(refMutex_);
    ++refcnt_;
}

void OrvThread::handleThreadMesg(OrvToThreadMesg* mesg) {
    ORV_TRACE("Thread(%d) received unknown message code %d\n", static_cast<int>(getpid()),
              static_cast<int>(mesg->code()));
}

void OrvThread::handleMainMesg(OrvToMainMesg* mesg) {
    ORV_TRACE("Thread(%d) received unknown message code %d\n", static_cast<int>(getpid()),
              static_cast<int>(mesg->code()));
}

void OrvThread::decRef() {
    refMutex_.lock();
    const std::int32_t refcnt = refcnt_;
    ORV_ASSERT(refcnt > 0);
    refcnt_ = refcnt - 1;
    ended_ = true;
    endedCond_.broadcast();
    refMutex_.unlock();
    if (refcnt == 1) {
        delete this;
    }
    deleteLoggerOfThread();
}

int OrvThread::runDispatcher() {
    while (!stopping_) {
        if (dispatcher_.handle_events(nullptr) < 0) {
            return -1;
        }
    }
    return 0;
}

void OrvThread::stopAndWait() {
    stopping_ = true;
    dispatcher_.wake();
    const Mt::Lock lock(refMutex_);
    while (!ended_) {
        endedCond_.wait(refMutex_);
    }
}

std::int32_t OrvThread::refcnt() {
    const Mt::Lock lock(refMutex_);
    return refcnt_;
}

bool OrvThread::ended() {
    const Mt::Lock lock(refMutex_);
    return ended_;
}

int OrvThread::pushToThread(std::unique_ptr<OrvToThreadMesg> mesg) {
    if (toThread_ == nullptr || mesg == nullptr) {
        orvMemoryAlarm();
        return -1;
    }
    toThread_->push(std::move(mesg), nullptr, false);
    return 0;
}

int OrvThread::pushToMain(std::unique_ptr<OrvToMainMesg> mesg) {
    if (toMain_ == nullptr || mesg == nullptr) {
        ORV_TRACE("no queue or no memory, message to the main thread dropped\n");
        return -1;
    }
    toMain_->push(std::move(mesg), nullptr, true);
    return 0;
}

void OrvThread::pushSwLogAppMesg(std::uint32_t level, std::uint32_t id, int arg1, int arg2, std::uint32_t flags,
                                 Hsb_Component* component, const char* text) {
    std::unique_ptr<OrvThreadSwLogApp> mesg = makeSwLogApp({level, id, arg1, arg2, flags, component, ""}, text);
    if (mesg == nullptr) {
        ORV_TRACE("Failure to allocate OrvThreadSwLogApp object\n");
        ORV_TRACE("thread exiting\n");
        pthread_exit(reinterpret_cast<void*>(std::intptr_t{1}));
    }
    [[maybe_unused]] const int result = pushToMain(std::move(mesg));
}

void OrvThread::logTextFromThread(const OrvLogKind& entry, const char* text) {
    pushSwLogAppMesg(static_cast<std::uint32_t>(entry.level), entry.id, -1, -1, kOrvOwnEntryFlags, orvApplication(),
                     text);
}

bool OrvThread::handleSwLogApp(const OrvToMainMesg* mesg) {
    const auto* const request = dynamic_cast<const OrvThreadSwLogApp*>(mesg);
    if (request == nullptr) {
        return false;
    }
    const OrvThreadSwLogApp::Entry& entry = request->entry();
    app_log(static_cast<int>(entry.level), entry.id, entry.arg1, -1, entry.arg2, -1, entry.flags, entry.component, "%s",
            entry.text.c_str());
    return true;
}
