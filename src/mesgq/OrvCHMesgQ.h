// Keeps every CallHome message from the moment it is built until it is mailed, discarded or expired, and keeps it on
// flash, so that it survives a restart.
//
// Until the quotas are known and the files of the last run are restored, messages wait in memory on the init queue. A
// file that cannot be written or read, or that finds no memory, is reported and changes nothing else, and none of the
// sender's operations throws. Main thread only; the message of an open entry is shared with the send thread under its
// lock.
#pragma once

#include "mesgq/OrvCHMesgQAdmission.h"
#include "mesgq/OrvCHMesgQConfig.h"
#include "mesgq/OrvCHMesgQHousekeeping.h"
#include "mesgq/OrvCHMesgQLists.h"
#include "mesgq/OrvCHMesgQRestore.h"
#include "mesgq/OrvCHMesgQSending.h"
#include "mesgq/OrvSendQueue.h"

#include <cstdint>
#include <memory>
#include <span>

class OrvCHMesgQ final : public OrvSendQueue {
public:
    // Makes the directory tree. All three are referred to for this object's life; none is called yet.
    OrvCHMesgQ(dsClient& store, orvClient& responses, OrvConfigListener& config);
    OrvCHMesgQ(const OrvCHMesgQ&) = delete;
    OrvCHMesgQ& operator=(const OrvCHMesgQ&) = delete;

    // Takes the message in every case. 0: kept, or counted as a repeat of another one and destroyed; -1: refused
    // and destroyed, the reason is on the event log. reprocess is true for a message that was counted before.
    int add(std::unique_ptr<OrvCHMesg> message, bool testMsg, bool persist, std::uint32_t persistRepostPeriod,
            std::int32_t expireCountdown, bool reprocess);
    // A stub: -1.
    int remove(OrvCHMesg* message);
    // Takes a message off a queue, with its file. Null when the queue does not hold it, or the sender has it open.
    std::unique_ptr<OrvCHMesgQEntry> removeByMessage(const OrvCHMesg* message, ORV_CH_MESG_Q_TYPE type);
    // The same, and destroys it; the result of a test message goes to its profile. 0 or -1.
    int removeByMessage(const OrvCHMesg* message, ORV_CH_MESG_Q_TYPE type, int result);

    // Asks for the quotas and, when that worked, flushes the duplicate queue. A request that could not be sent
    // settles this part of the configuration at once. 0 or -1.
    int readConfig();
    // Takes the answer and settles this part of the configuration. 0.
    int processConfigBulk(std::span<const DsEntry> attributes, std::span<const std::int32_t> statuses) {
        return config_.processConfigBulk(attributes, statuses);
    }

    // The operator's clear command: 0.
    int clearQueue() { return housekeeping_.clearQueue(); }
    // Once a second: opens the queue as soon as it can be, then parks, returns, discards and expires.
    void oneSecondChores();
    // Posts what was counted on the duplicate queue, forgets the rest: 0.
    int flushDuplicateQueue() { return housekeeping_.flushDuplicateQueue(); }
    // Traces settings, fill and statistics: 0.
    int probe() const;

    // OrvSendQueue
    std::uint32_t sendCount() const override { return sending_.sendCount(); }
    std::uint32_t openCount() const override { return sending_.openCount(); }
    OrvCHMesg* peekOpen() override { return sending_.peekOpen(); }
    int peekClose(OrvCHMesg* message) override { return sending_.peekClose(message); }
    int postpone(OrvCHMesg* message, std::uint32_t seconds) override { return sending_.postpone(message, seconds); }
    int peekDelete(OrvCHMesg* message, int result) override { return sending_.peekDelete(message, result); }

    // The configuration monitor is ready; with the quotas known, the next chores restore and open the queue.
    void setMonitorReady() { monitorReady_ = true; }
    bool openForBusiness() const { return lists_.isOpenForBusiness(); }
    // A copy of the files to the standby is running: nothing is opened meanwhile, and what the sender finishes or
    // the operator clears is deleted afterwards.
    bool busy() const { return sending_.syncInProgress(); }
    void setSyncInProgress(bool running) { sending_.setSyncInProgress(running); }

    std::uint32_t spaceInUse() const { return lists_.spaceInUse(); }  // bytes charged, all queues
    const OrvCHMesgQStatistics& statistics() const { return lists_.statistics(); }
    // An unknown type stops the process.
    OrvCHMesgQQueue* ToQueuePtr(ORV_CH_MESG_Q_TYPE type) { return lists_.ToQueuePtr(type); }
    const OrvCHMesgQQueue& queue(ORV_CH_MESG_Q_TYPE type) const { return lists_.queue(type); }

private:
    void probeInformation() const;
    void probeStatistics() const;

    OrvCHMesgQConfig config_;
    OrvCHMesgQLists lists_;
    OrvCHMesgQAdmission admission_{lists_, config_.quotas()};
    OrvCHMesgQSending sending_{lists_, config_.quotas()};
    OrvCHMesgQHousekeeping housekeeping_{lists_, config_.quotas(), sending_};
    OrvCHMesgQRestore restore_{lists_, config_.quotas(), admission_, housekeeping_};
    bool initStarted_ = false;
    bool monitorReady_ = false;
};
