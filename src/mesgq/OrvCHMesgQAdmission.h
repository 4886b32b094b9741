// How a message gets on a queue: repeats are counted, and room is made under the two quotas, at the cost of the oldest.
// Main thread only.
#pragma once

#include "mesgq/OrvCHMesgQLists.h"

#include <cstdint>
#include <memory>
#include <string>

class OrvCHMesgQAdmission {
public:
    // Both are referred to for this object's life.
    OrvCHMesgQAdmission(OrvCHMesgQLists& lists, const OrvCHQuotas& quotas) : lists_(lists), quotas_(quotas) {}

    // Takes the message in every case. 0: kept, or counted as a repeat of another one and destroyed; -1: refused and
    // destroyed, the reason is on the event log. Before the queue is open for business it waits on the init queue;
    // reprocess is true when it comes from there and was counted before.
    int add(std::unique_ptr<OrvCHMesg> message, const OrvCHPosting& posting, bool reprocess);

    // Discards so many closed entries of the send queue, oldest first. 0, or -1 when there were fewer.
    int removeOldest(std::uint32_t count);

private:
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
    template <typename Enough>
    int discardFromHead(const char* function, OrvDeletionReason reason, Enough enough);

    OrvCHMesgQLists& lists_;
    const OrvCHQuotas& quotas_;
};
