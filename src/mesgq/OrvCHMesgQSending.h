// The send queue in its sender's hands: entries are opened, given back or finished. Main thread only.
#pragma once

#include "mesgq/OrvCHMesgQLists.h"

#include <cstdint>

class OrvCHMesgQSending {
public:
    // Both are referred to for this object's life.
    OrvCHMesgQSending(OrvCHMesgQLists& lists, const OrvCHQuotas& quotas) : lists_(lists), quotas_(quotas) {}

    // What OrvSendQueue is answered with.
    std::uint32_t sendCount() const { return lists_.send().count(); }
    std::uint32_t openCount() const { return lists_.statistics().openCount; }
    OrvCHMesg* peekOpen();
    int peekClose(OrvCHMesg* message);
    int postpone(OrvCHMesg* message, std::uint32_t seconds);
    int peekDelete(OrvCHMesg* message, int result);

    // A copy of the files to the standby is running: nothing is opened meanwhile, and what the sender finishes is
    // deleted afterwards.
    bool syncInProgress() const { return syncInProgress_; }
    void setSyncInProgress(bool running) { syncInProgress_ = running; }

private:
    void finishPersistent(OrvCHMesgQEntry& entry);
    void finishOrdinary(OrvCHMesgQEntry& entry, int result);

    OrvCHMesgQLists& lists_;
    const OrvCHQuotas& quotas_;
    bool syncInProgress_ = false;
};
