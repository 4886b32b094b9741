// The four queues of messages and what holds for all of them: charges, counters, files and traces as entries come, move
// and go.
//
// The lists are the truth; files follow them. What is done to a list is done whole, and nothing here throws once an
// entry has been taken. An open entry's message is shared with the send thread: it is marked, never removed. Main
// thread only.
#pragma once

#include "mesgq/OrvCHMesgQConfig.h"
#include "mesgq/OrvCHMesgQEntry.h"
#include "mesgq/OrvCHMesgQQueue.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

class orvClient;

// What the queue has counted since the daemon started; never set back.
struct OrvCHMesgQStatistics {
    std::uint32_t totalReceived = 0;
    std::uint32_t testReceived = 0;
    std::uint32_t persistentReceived = 0;
    std::uint32_t duplicateReceived = 0;
    std::uint32_t reconstituted = 0;
    std::uint32_t deletedForSpace = 0;
    std::uint32_t deletedForFileLimit = 0;
    std::uint32_t deletedForTime = 0;
    std::uint32_t deletedForClearReq = 0;
    std::uint32_t sendOk = 0;  // finished by the sender, failures included
    std::uint32_t couldNotBeAdded = 0;
    std::uint32_t openCount = 0;          // entries that the sender has now
    std::uint32_t persistentDeleted = 0;  // shown nowhere
};

class OrvCHMesgQLists {
public:
    // Both are referred to for this object's life; test results go to the profiles through responses.
    OrvCHMesgQLists(orvClient& responses, const OrvCHQuotas& quotas) : responses_(responses), quotas_(quotas) {}

    OrvCHMesgQQueue& init() { return init_; }
    OrvCHMesgQQueue& send() { return send_; }
    OrvCHMesgQQueue& duplicate() { return duplicate_; }
    OrvCHMesgQQueue& persist() { return persist_; }
    // An unknown type stops the process.
    OrvCHMesgQQueue* ToQueuePtr(ORV_CH_MESG_Q_TYPE type);
    const OrvCHMesgQQueue& queue(ORV_CH_MESG_Q_TYPE type) const;

    OrvCHMesgQStatistics& statistics() { return statistics_; }
    const OrvCHMesgQStatistics& statistics() const { return statistics_; }
    std::uint32_t spaceInUse() const { return spaceInUse_; }  // bytes charged, all queues
    // The quota is on what waits: entries that the sender has do not count.
    std::uint32_t closedCount() const { return send_.count() - statistics_.openCount; }

    // From then on files are written.
    void openForBusiness() { openForBusiness_ = true; }
    bool isOpenForBusiness() const { return openForBusiness_; }

    // Makes an entry of a message and appends it, numbered anew or under the number it is to keep. Null, the message
    // not taken, when there is no memory or that number is on the queue already.
    OrvCHMesgQEntry* addNewEntry(OrvCHMesgQQueue& queue, std::unique_ptr<OrvCHMesg>& message,
                                 const OrvCHPosting& posting, std::string duplicateKey,
                                 std::optional<std::uint32_t> keepId = std::nullopt);
    // Takes an entry out, with its file.
    std::unique_ptr<OrvCHMesgQEntry> removeInternal(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue);
    // The same, and destroys it; the result of a test message goes to its profile.
    void removeInternal(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue, int result);
    void moveEntry(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& from, OrvCHMesgQQueue& to);
    // The entry of a message; null when the queue does not hold it, or the sender has it open.
    static OrvCHMesgQEntry* findClosed(const OrvCHMesg* message, const OrvCHMesgQQueue& queue);

    // Of the send queue: an open entry is marked, a closed one discarded and counted by its reason.
    void mark(OrvCHMesgQEntry& entry, OrvDeletionReason reason);
    void discard(OrvCHMesgQEntry& entry, OrvDeletionReason reason);
    // Discards a marked entry that is closed again.
    void removeMarked(OrvCHMesgQEntry& entry);

private:
    // Null, the entry not taken, when the number it is to keep is on the queue already.
    OrvCHMesgQEntry* addInternal(OrvCHMesgQQueue& queue, std::unique_ptr<OrvCHMesgQEntry>& entry,
                                 std::optional<std::uint32_t> keepId = std::nullopt);
    void sendTestResult(const OrvCHMesg& message, int result);
    void traceFill(const char* function, const OrvCHMesgQEntry& entry, const char* change,
                   const OrvCHMesgQQueue& queue) const;

    orvClient& responses_;
    const OrvCHQuotas& quotas_;
    OrvCHMesgQQueue init_{ORV_CH_MESG_Q_INIT};
    OrvCHMesgQQueue send_{ORV_CH_MESG_Q_SEND};
    OrvCHMesgQQueue duplicate_{ORV_CH_MESG_Q_DUPLICATE};
    OrvCHMesgQQueue persist_{ORV_CH_MESG_Q_PERSIST};
    std::uint32_t spaceInUse_ = 0;
    bool openForBusiness_ = false;
    OrvCHMesgQStatistics statistics_;
};
