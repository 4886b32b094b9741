// What the send thread does: one dialogue per message, and its outcome back to the main thread.
//
// What an outcome takes is in hand before a message is sent: no mail that a server has taken is left without its
// outcome for want of memory. Send thread only, once the thread runs.
#pragma once

#include "smtp/OrvSMTPClient.h"
#include "smtp/OrvSendDialogue.h"
#include "smtp/OrvSendState.h"
#include "thread/OrvThread.h"

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

class OrvCHMesg;

// --- What OrvCHClient and its thread tell each other. None of them owns the message it carries: that is the queue's.

// To the thread: mail this.
class OrvCHClientSend final : public OrvToThreadMesg {
public:
    static constexpr std::uint32_t kCode = 1;

    explicit OrvCHClientSend(OrvCHMesg* message) : OrvToThreadMesg(kCode), message_(message) {}
    OrvCHMesg* message() const { return message_; }

private:
    OrvCHMesg* const message_;
};

// To the main thread: what became of a message. Made before it is sent, and filled in afterwards.
class OrvCHClientOutcome : public OrvToMainMesg {
public:
    OrvCHMesg* message() const { return message_; }
    void setMessage(OrvCHMesg* message) { message_ = message; }

protected:
    using OrvToMainMesg::OrvToMainMesg;

private:
    OrvCHMesg* message_ = nullptr;
};

// The dialogue failed.
class OrvCHClientFail final : public OrvCHClientOutcome {
public:
    static constexpr std::uint32_t kCode = 1;

    OrvCHClientFail() : OrvCHClientOutcome(kCode) {}
    const OrvSendFailure& failure() const { return failure_; }
    void setFailure(OrvSendFailure&& failure) { failure_ = std::move(failure); }

private:
    OrvSendFailure failure_;
};

// The dialogue went to its end; the message's marks tell what became of each recipient.
class OrvCHClientSucceed final : public OrvCHClientOutcome {
public:
    static constexpr std::uint32_t kCode = 2;

    OrvCHClientSucceed() : OrvCHClientOutcome(kCode) {}
};

// The send thread's way to the main thread.
class OrvMainThreadDoor {
public:
    virtual void tellMain(std::unique_ptr<OrvToMainMesg> mesg) = 0;
    // An entry for the event log when none is in hand. Ends the thread when memory is short.
    virtual void logToMain(const OrvLogKind& entry, const char* text) = 0;

protected:
    ~OrvMainThreadDoor() = default;
};

// Entries for the event log in hand before they are needed, so that what has become of a mail can be told when there is
// no memory left.
class OrvSpareEntries {
public:
    // So many more; some of them may have come when it throws std::bad_alloc.
    void add(std::size_t count);
    // Gives back what is more than this.
    void shrinkTo(std::size_t count);
    std::size_t count() const { return spares_.size(); }

    // One of the daemon's own, with as much of the text as every entry of a thread holds. Null when none is in hand.
    std::unique_ptr<OrvThreadSwLogApp> take(const OrvLogKind& kind, const char* text);

private:
    std::vector<std::unique_ptr<OrvThreadSwLogApp>> spares_;
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
    const std::atomic<bool>& stopping() const override { return state_.stopping; }

    const OrvCHMesgCommon& identity_;
    OrvSendState& state_;
    OrvMainThreadDoor& door_;
    OrvSMTPClient client_;
    std::unique_ptr<OrvCHClientFail> fail_;
    std::unique_ptr<OrvCHClientSucceed> succeed_;
    OrvSpareEntries spareEntries_;
};
