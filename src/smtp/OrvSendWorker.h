// What the send thread does: one dialogue per message, and its outcome back to the main thread.
//
// What an outcome takes is in hand before a message is sent: no mail that a server has taken is left without its
// outcome for want of memory. Send thread only, once the thread runs.
#pragma once

#include "smtp/OrvCHClientMesgs.h"
#include "smtp/OrvSMTPClient.h"
#include "smtp/OrvSendDialogue.h"
#include "smtp/OrvSendState.h"
#include "smtp/OrvSpareEntries.h"

#include <cstddef>
#include <memory>

// The send thread's way to the main thread.
class OrvMainThreadDoor {
public:
    virtual void tellMain(std::unique_ptr<OrvToMainMesg> mesg) = 0;
    // An entry for the event log when none is in hand. Ends the thread when memory is short.
    virtual void logToMain(const OrvLogKind& entry, const char* text) = 0;

protected:
    ~OrvMainThreadDoor() = default;
};

class OrvSendWorker final : private OrvSendReporter {
public:
    // All outlive the worker.
    OrvSendWorker(const OrvCHMesgCommon& identity, OrvSendState& state, OrvMainThreadDoor& door,
                  const OrvSMTPTimeouts& timeouts, OrvSMTPSystem& system, const OrvSMTPDialogue& dialogue);

    // Sends the message and says what became of it. -1 when memory is too short to say it: then nothing was sent, and
    // the thread is to end.
    [[nodiscard]] int handleSendMesg(const OrvCHClientSend& mesg);

private:
    void keepSpares();
    int sendMessage(OrvCHMesg& message, OrvSendFailure& failure);
    OrvMailServer takeCurrentServer();
    void pushFailMesg(OrvCHMesg& message, OrvSendFailure&& failure);
    void pushSucceedMesg(OrvCHMesg& message);

    void makeRoomForEntries(std::size_t count) override { spareEntries_.add(count); }
    void logSend(const OrvLogKind& entry, const char* text) override;
    bool isRetryPending() const override { return state_.retryPending; }

    const OrvCHMesgCommon& identity_;
    OrvSendState& state_;
    OrvMainThreadDoor& door_;
    OrvSMTPClient client_;
    std::unique_ptr<OrvCHClientFail> fail_;
    std::unique_ptr<OrvCHClientSucceed> succeed_;
    OrvSpareEntries spareEntries_;
};
