// Keeps every CallHome message from the moment it is built until it is mailed, discarded or expired, and keeps it on
// flash, so that it survives a restart.
//
// Messages arrive through add(), which counts repeats instead of keeping them and makes room under two quotas, by
// bytes and by files, at the cost of the oldest messages. The sender takes them through OrvSendQueue. Until the
// quotas are known and the files of the last run are restored, messages wait in memory on the init queue.
//
// The lists are the truth; files follow them. A file that cannot be written or read, or that finds no memory, is
// reported and changes nothing else: what is done to a list is done whole, and none of the sender's operations throws.
// Main thread only; the message of an open entry is shared with the send thread under its lock, and an open entry is
// never destroyed, only marked.
#pragma once

#include "dsClient.h"
#include "mesgq/OrvCHAttachmentFiles.h"
#include "mesgq/OrvCHMesgQEntry.h"
#include "mesgq/OrvCHMesgQQueue.h"
#include "mesgq/OrvCHMesgQStatistics.h"
#include "mesgq/OrvSendQueue.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>

class OrvConfigListener;
class orvClient;

class OrvCHMesgQ final : public OrvSendQueue {
public:
    // The id of the one request to the attribute store; its answer goes to processConfigBulk().
    static constexpr std::uint32_t kRequestId = 11;

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
    int processConfigBulk(std::span<const DsEntry> attributes, std::span<const std::int32_t> statuses);

    // The operator's clear command: 0.
    int clearQueue();
    // Once a second: opens the queue as soon as it can be, then parks, returns, discards and expires.
    void oneSecondChores();
    // Posts what was counted on the duplicate queue, forgets the rest: 0.
    int flushDuplicateQueue();
    // Traces settings, fill and statistics: 0.
    int probe() const;

    // OrvSendQueue
    std::uint32_t sendCount() const override { return send_.count(); }
    std::uint32_t openCount() const override { return statistics_.openCount; }
    OrvCHMesg* peekOpen() override;
    int peekClose(OrvCHMesg* message) override;
    int peekDelete(OrvCHMesg* message, int result) override;

    // The configuration monitor is ready; with the quotas known, the next chores restore and open the queue.
    void setMonitorReady() { monitorReady_ = true; }
    bool openForBusiness() const { return queueOpenForBusiness_; }
    // A copy of the files to the standby is running: nothing is opened meanwhile, and what the sender finishes, the
    // operator clears or a configuration read flushes is deleted afterwards.
    bool busy() const { return syncInProgress_; }
    void setSyncInProgress(bool running) { syncInProgress_ = running; }

    std::uint32_t spaceInUse() const { return spaceInUse_; }  // bytes charged, all queues
    const OrvCHMesgQStatistics& statistics() const { return statistics_; }
    // An unknown type stops the process.
    OrvCHMesgQQueue* ToQueuePtr(ORV_CH_MESG_Q_TYPE type);
    const OrvCHMesgQQueue& queue(ORV_CH_MESG_Q_TYPE type) const;

private:
    // --- Lists ---
    // Appends an entry, numbered anew or under the number it is to keep, and writes its file where it has one.
    // Null, the entry not taken, when that number is on the queue already.
    OrvCHMesgQEntry* addInternal(OrvCHMesgQQueue& queue, std::unique_ptr<OrvCHMesgQEntry>& entry,
                                 std::optional<std::uint32_t> keepId = std::nullopt);
    // Takes an entry out, with its file.
    std::unique_ptr<OrvCHMesgQEntry> removeInternal(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue);
    // The same, and destroys it; the result of a test message goes to its profile.
    void removeInternal(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue, int result);
    void moveEntry(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& from, OrvCHMesgQQueue& to);
    // Makes an entry of a message and appends it. Null, the message not taken, when that fails.
    OrvCHMesgQEntry* addNewEntry(OrvCHMesgQQueue& queue, std::unique_ptr<OrvCHMesg>& message,
                                 const OrvCHPosting& posting, std::string duplicateKey,
                                 std::optional<std::uint32_t> keepId = std::nullopt);
    void sendTestResult(const OrvCHMesg& message, int result);
    OrvCHMesgQEntry* findClosed(const OrvCHMesg* message, const OrvCHMesgQQueue& queue) const;
    void traceFill(const char* function, const OrvCHMesgQEntry& entry, const char* change,
                   const OrvCHMesgQQueue& queue) const;

    // --- Admission ---
    int admit(std::unique_ptr<OrvCHMesg>& message, const OrvCHPosting& posting);
    int enqueue(OrvCHMesgQQueue& queue, std::unique_ptr<OrvCHMesg>& message, const OrvCHPosting& posting,
                std::string duplicateKey);
    bool countAsDuplicate(const std::string& key);
    void countParkedDuplicate(OrvCHMesgQEntry& entry, std::string now);
    void countPendingDuplicate(OrvCHMesgQEntry& entry, std::string now);
    int unableToAdd();
    int refuse();
    int checkSpace(std::uint32_t bytesToSave);
    int checkFiles();
    int makeRoom(std::uint32_t sizeNeeded);
    int removeOldest(std::uint32_t count);
    template <typename Enough>
    int discardFromHead(const char* function, OrvDeletionReason reason, Enough enough);
    // The quota is on what waits: entries that the sender has do not count.
    std::uint32_t closedCount() const { return send_.count() - statistics_.openCount; }

    // --- Configuration ---
    void setDefaults();
    void applyAttribute(const DsEntry& attribute, bool bad, bool& conversionOk);

    // --- Files ---
    int saveEntryToFile(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue);
    void saveMessage(OrvCHMesgQEntry& entry, const OrvCHMesgQQueue& queue);
    void appendState(const OrvCHMesgQEntry& entry, const OrvCHMesgQQueue& queue);
    int deleteEntryFile(const OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue);
    void updateOrderFile(OrvCHMesgQQueue& queue);

    // --- Restore ---
    void init();
    void readPersistentData();
    void reconstituteQueue(OrvCHMesgQQueue& queue, const char* dir);
    void reconstituteInOrder(OrvCHMesgQQueue& queue, const char* dir, const std::string& path, std::FILE& orderFile,
                             std::uint32_t count);
    void reconstituteQueueTheHardWay(OrvCHMesgQQueue& queue, const char* dir);
    void reconstituteListed(OrvCHMesgQQueue& queue, const char* dir, const char* line);
    void reconstituteNumber(OrvCHMesgQQueue& queue, const char* dir, std::uint32_t uniqueId);
    void reconstituteMsgFromFile(OrvCHMesgQQueue& queue, const std::string& path, std::uint32_t uniqueId);
    void saveMovedEntries();
    void processInitQueue();

    // --- Housekeeping ---
    // Of the send queue: an open entry is marked, a closed one discarded and counted by its reason.
    void mark(OrvCHMesgQEntry& entry, OrvDeletionReason reason);
    void discard(OrvCHMesgQEntry& entry, OrvDeletionReason reason);
    void removeMarked(OrvCHMesgQEntry& entry);
    void finishPersistent(OrvCHMesgQEntry& entry);
    void finishOrdinary(OrvCHMesgQEntry& entry, int result);
    void sendQueueChores(std::uint32_t now);
    bool sendEntryChores(OrvCHMesgQEntry& entry, std::uint32_t now);
    void discardOldEntry(OrvCHMesgQEntry& entry, std::uint32_t now);
    void discardForQuota(OrvCHMesgQEntry& entry, OrvDeletionReason reason, const char* quota);
    void duplicateQueueChores(std::uint32_t now);
    void endThrottling(OrvCHMesgQEntry& entry);
    void persistQueueChores(std::uint32_t now);
    void pendingActionChores();
    void probeInformation() const;
    void probeStatistics() const;

    dsClient& store_;
    orvClient& responses_;
    OrvConfigListener& config_;

    OrvCHMesgQQueue init_{ORV_CH_MESG_Q_INIT};
    OrvCHMesgQQueue send_{ORV_CH_MESG_Q_SEND};
    OrvCHMesgQQueue duplicate_{ORV_CH_MESG_Q_DUPLICATE};
    OrvCHMesgQQueue persist_{ORV_CH_MESG_Q_PERSIST};
    OrvCHAttachmentFiles attachments_;

    // Without limits until the first answer.
    bool throttleDuplicates_ = true;
    std::uint32_t throttleDuplicatesPeriod_ = 15;  // seconds on the duplicate queue
    std::uint32_t spaceAllowed_ = UINT32_MAX;      // bytes, all queues
    std::uint32_t filesAllowed_ = UINT32_MAX;      // closed entries of the send queue
    std::uint32_t discardPeriod_ = UINT32_MAX;     // seconds on the send queue

    std::uint32_t spaceInUse_ = 0;
    bool queueOpenForBusiness_ = false;
    bool initStarted_ = false;
    bool configDataRead_ = false;
    bool monitorReady_ = false;
    bool syncInProgress_ = false;
    static constexpr std::uint32_t kPendingDuplicateFlush = 1;  // a flush that came during a sync
    std::uint32_t pendingActions_ = 0;
    OrvCHMesgQStatistics statistics_;
};
