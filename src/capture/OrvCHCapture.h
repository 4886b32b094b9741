// Decides once a minute which captures are due, has its thread run them one after the other, and hands the messages
// that come of it to the owning profiles and the queue.
//
// The controller registers the items of all profiles anew in each configuration read; the new schedule replaces the
// old one when the profiles are complete, so a read that fails leaves the schedule as it was.
#pragma once

#include "base/OrvShell.h"
#include "capture/OrvCaptureMesgs.h"
#include "capture/OrvCaptureRun.h"
#include "capture/OrvCaptureSchedule.h"
#include "capture/OrvCaptureSequence.h"
#include "capture/OrvCaptureSink.h"
#include "mesg/OrvSequenceSource.h"
#include "profile/CronCaptureItem.h"
#include "thread/OrvThread.h"

#include <cstdint>
#include <ctime>
#include <list>
#include <memory>
#include <vector>

class OrvCHCaptureExec;
class OrvCHCaptureFail;
class OrvCHCaptureSucceed;
class OrvCHMesg;

class OrvCHCapture final : public OrvThread, public OrvSequenceSource {
public:
    // Reads the sequence number; throws OrvFileError when it cannot. The sink must outlive this object, and this
    // object its thread. Copies of capture messages draw their numbers here as long as it lives.
    explicit OrvCHCapture(OrvCaptureSink& sink, OrvShell shell = orvRunShell);
    ~OrvCHCapture() override;

    // Main thread.

    // Launches the thread, once; a thread that has ended is not launched again. 0, or -1 (logged).
    [[nodiscard]] int start();
    // Opens a registration round; one that was not completed is forgotten.
    void readConfig();
    void registerItem(const CronCaptureItem& item);
    // The registered items become the schedule. Nothing when no round is open.
    void completeRegistration();
    // To be called every second; checks every 60th time. Until the queue is open for business only the seconds are
    // counted: the start-up collection may still empty the attachments directory.
    void tick(bool queueOpen);
    void probe() const;
    // A profile's item as the schedule has it; null when it is not scheduled, or there is none. For the moment only.
    const CronCaptureItem* scheduled(const CronCaptureItem* item) const {
        return item != nullptr ? schedule_.find(*item) : nullptr;
    }
    // A result from the thread.
    void handleMainMesg(OrvToMainMesg* mesg) override;

    // Capture thread.
    void handleThreadMesg(OrvToThreadMesg* mesg) override;

    // Any thread.
    std::uint32_t nextSequence() override;

protected:
    int runThread() override;

private:
    // Main thread.
    void check();
    void startDueCaptures();
    void pushExecMesg(const OrvStartedCapture& capture);
    void handleFailMesg(const OrvCHCaptureFail& mesg);
    void handleSucceedMesg(OrvCHCaptureSucceed& mesg);
    void finishFirst(const OrvStartedCapture& capture);

    // Capture thread.
    void handleExecMesg(const OrvCHCaptureExec& mesg);
    int execCapture(const OrvStartedCapture& capture, std::unique_ptr<OrvCHMesg>& mesg, int& error);
    void pushSucceedMesg(const OrvStartedCapture& capture, std::unique_ptr<OrvCHMesg> mesg);
    void pushFailMesg(const OrvStartedCapture& capture, int error);

    // Main thread only.
    OrvCaptureSink& sink_;
    bool launched_ = false;
    OrvCaptureSchedule schedule_;
    bool registering_ = false;
    std::vector<CronCaptureItem> registered_;
    // Handed to the thread and not yet finished, oldest first. The thread holds addresses of elements.
    std::list<OrvStartedCapture> executingQueue_;
    std::uint32_t tickCount_ = 0;  // seconds since the last check
    std::time_t lastCheck_ = 0;

    // Both threads.
    OrvCaptureSequence sequence_;

    // Capture thread only.
    OrvCaptureRun run_;
};
