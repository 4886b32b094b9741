// First the main thread's side: the schedule, its check, and what becomes of a capture's result.
#include "capture/OrvCHCapture.h"

#include "Mt/Threader.h"
#include "base/OrvAssert.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "base/OrvTimeText.h"
#include "capture/OrvCaptureMesgs.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesg/CronCaptureData.h"
#include "mesg/OrvCHMesg.h"
#include "profile/OrvCHProfile.h"

#include <unistd.h>

#include <cerrno>
#include <exception>
#include <new>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHCapture";
constexpr char kLoggerName[] = "orv.out.Capture";
constexpr int kPriority = 0;

constexpr std::uint32_t kTicksPerCheck = 60;
// A clock that moved further than this between two checks was set.
constexpr std::time_t kClockJump = 3600;

[[noreturn]] void exitWithoutMemory() {
    ORV_TRACE("no memory for the result, exiting\n");
    _exit(1);
}

}  // namespace

OrvCHCapture::OrvCHCapture(OrvCaptureSink& sink, OrvShell shell)
    : OrvThread(kPriority, kLoggerName), sink_(sink), run_(sequence_, shell) {
    CronCaptureData::useSequences(&sequence_);
}

OrvCHCapture::~OrvCHCapture() {
    if (launched_) {
        stopAndWait();
    }
    CronCaptureData::useSequences(nullptr);
}

int OrvCHCapture::start() {
    if (launched_) {
        return 0;
    }
    if (Mt::Threader::launch(*this) != 0) {
        orvLog(orv_log::kCaptureThreadNotStarted);
        return -1;
    }
    launched_ = true;
    return 0;
}

void OrvCHCapture::readConfig() {
    ORV_TRACE("Entry\n");
    registered_.clear();
    registering_ = true;
}

void OrvCHCapture::registerItem(const CronCaptureItem& item) {
    orvPersistently([&] { registered_.push_back(item); });
}

void OrvCHCapture::completeRegistration() {
    if (!registering_) {
        return;
    }
    orvPersistently([this] { schedule_.replace(registered_); });
    registered_.clear();
    registering_ = false;
}

void OrvCHCapture::tick(bool queueOpen) {
    if (++tickCount_ < kTicksPerCheck) {
        return;
    }
    tickCount_ = 0;
    if (queueOpen) {
        check();
    }
}

void OrvCHCapture::check() {
    if (schedule_.empty()) {
        return;
    }
    const std::time_t now = orvCalendarNow();
    const std::time_t moved = now - lastCheck_;
    if (moved > kClockJump || moved < -kClockJump) {
        schedule_.recomputeQueue();
    }
    lastCheck_ = now;
    startDueCaptures();
}

// Kept: an item that missed several intervals is started once for each of them.
void OrvCHCapture::startDueCaptures() {
    while (const CronCaptureItem* due = schedule_.due(lastCheck_)) {
        executingQueue_.emplace_back(*due, lastCheck_);
        pushExecMesg(executingQueue_.back());
        schedule_.advance();
    }
}

void OrvCHCapture::pushExecMesg(const OrvStartedCapture& capture) {
    ORV_TRACE("Entry\n");
    std::unique_ptr<OrvCHCaptureExec> mesg(new (std::nothrow) OrvCHCaptureExec(capture));
    if (!mesg) {
        orvMemoryAlarm();
        // Kept: the class named is the send client's.
        ORV_TRACE("Failure to allocate OrvCHClientSend object\n");
        ORV_TRACE("Main thread exiting\n");
        _exit(1);
    }
    if (pushToThread(std::move(mesg)) < 0) {
        // No result will come for it, and results are matched with the head of the list.
        executingQueue_.pop_back();
    }
}

void OrvCHCapture::handleMainMesg(OrvToMainMesg* mesg) {
    ORV_TRACE("Entry\n");
    if (const auto* fail = dynamic_cast<const OrvCHCaptureFail*>(mesg)) {
        handleFailMesg(*fail);
    } else if (auto* succeed = dynamic_cast<OrvCHCaptureSucceed*>(mesg)) {
        handleSucceedMesg(*succeed);
    } else if (!handleSwLogApp(mesg)) {
        ORV_TRACE("Unrecognized message ID [%d] sent to main thread\n", static_cast<int>(mesg->code()));
    }
}

void OrvCHCapture::handleFailMesg(const OrvCHCaptureFail& mesg) {
    ORV_TRACE("Entry\n");
    const OrvAtEnd finish([&] { finishFirst(mesg.capture()); });
    ORV_TRACE("CronCapture failed!\n");
    orvLog(orv_log::kCaptureFailed, orvErrorText(mesg.error()).c_str());
}

void OrvCHCapture::handleSucceedMesg(OrvCHCaptureSucceed& mesg) {
    ORV_TRACE("Entry\n");
    const OrvAtEnd finish([&] { finishFirst(mesg.capture()); });
    ORV_TRACE("CronCapture succeeded!\n");
    const std::string& owner = mesg.capture().item.profileName();
    OrvCHProfile* const profile = sink_.profileByName(owner);
    if (profile == nullptr) {
        ORV_TRACE("Profile %s deleted or renamed, cannot retreive envelope for message, deleting...!\n", owner.c_str());
        return;
    }
    // A capture has no level of its own: the profile that asked for it gets it.
    constexpr bool kForce = true;
    std::unique_ptr<OrvCHEnvelope> envelope = profile->envelopeFor(kOrvLevelNone, kForce);
    if (!envelope) {
        ORV_TRACE("Profile %s: No envelope for message, deleting...!\n", owner.c_str());
        return;
    }
    std::unique_ptr<OrvCHMesg> message = mesg.takeMesg();
    message->addEnvelope(std::move(envelope));
    sink_.enqueue(std::move(message));
}

// Captures finish in the order in which they were started.
void OrvCHCapture::finishFirst(const OrvStartedCapture& capture) {
    if (executingQueue_.empty() || &capture != &executingQueue_.front()) {
        orvAssertFailed("capture == &(*ExecutingQueue.begin())", __FILE__, __LINE__);
    }
    executingQueue_.pop_front();
}

std::uint32_t OrvCHCapture::nextSequence() {
    return sequence_.nextSequence();
}

void OrvCHCapture::probe() const {
    ORV_TRACE(
        "CronCapture Information:\nsequence = %u\nscheduleCount = %u\nexecuting = %u\ntickCount = %u\n"
        "lastCheck = %s\n%s\n",
        sequence_.last(), static_cast<unsigned>(schedule_.size()), static_cast<unsigned>(executingQueue_.size()),
        tickCount_, orvMailDateText(lastCheck_).c_str(), schedule_.dump().c_str());
}

// The capture thread's side: one capture per message, one result per capture.

int OrvCHCapture::runThread() {
    const int result = runDispatcher();
    if (result < 0) {
        ORV_TRACE("handle_events failed\n");
    }
    ORV_TRACE("Terminating\n");
    return result;
}

void OrvCHCapture::handleThreadMesg(OrvToThreadMesg* mesg) {
    ORV_TRACE("Entry\n");
    if (const auto* exec = dynamic_cast<const OrvCHCaptureExec*>(mesg)) {
        handleExecMesg(*exec);
        return;
    }
    ORV_TRACE("Unrecognized message ID [%d] sent from main thread\n", static_cast<int>(mesg->code()));
}

void OrvCHCapture::handleExecMesg(const OrvCHCaptureExec& mesg) {
    ORV_TRACE("Entry\n");
    std::unique_ptr<OrvCHMesg> result;
    int error = 0;
    if (execCapture(mesg.capture(), result, error) == 0) {
        pushSucceedMesg(mesg.capture(), std::move(result));
    } else {
        pushFailMesg(mesg.capture(), error);
    }
}

// A failure of our own files or memory fails this capture, not the thread; anything else that is thrown ends it.
int OrvCHCapture::execCapture(const OrvStartedCapture& capture, std::unique_ptr<OrvCHMesg>& mesg, int& error) {
    try {
        const int result = run_.execute(capture, mesg);
        error = errno;
        return result;
    } catch (const std::bad_alloc&) {
        error = ENOMEM;
    } catch (const std::exception& exception) {
        error = errno != 0 ? errno : EIO;
        ORV_TRACE("%s\n", exception.what());
    }
    return -1;
}

void OrvCHCapture::pushSucceedMesg(const OrvStartedCapture& capture, std::unique_ptr<OrvCHMesg> mesg) {
    std::unique_ptr<OrvCHCaptureSucceed> succeed(new (std::nothrow) OrvCHCaptureSucceed(capture, std::move(mesg)));
    if (!succeed) {
        exitWithoutMemory();
    }
    if (pushToMain(std::move(succeed)) < 0) {
        ORV_TRACE("no way to the main thread\n");
    }
}

void OrvCHCapture::pushFailMesg(const OrvStartedCapture& capture, int error) {
    std::unique_ptr<OrvCHCaptureFail> fail(new (std::nothrow) OrvCHCaptureFail(capture, error));
    if (!fail) {
        exitWithoutMemory();
    }
    if (pushToMain(std::move(fail)) < 0) {
        ORV_TRACE("no way to the main thread\n");
    }
}
