// Gets queued messages to a mail server: when to send, what a dialogue's outcome means, the retries with their growing
// delays, and the entries that tell the operator what happened.
//
// One message is on its way at a time. It stays the queue's through every failure: only a dialogue that reached its
// end, with no recipient waiting for a second try, finishes it. The main thread never waits for the send thread.
#pragma once

#include "dsClient.h"
#include "mesgq/OrvSendQueue.h"
#include "profile/OrvCHMesgCommon.h"
#include "profile/OrvConfigListener.h"
#include "smtp/OrvRetryDelay.h"
#include "smtp/OrvSendState.h"
#include "smtp/OrvSendWorker.h"
#include "smtp/OrvServerSettings.h"
#include "thread/OrvThread.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

class OrvCHMesg;

class OrvCHClient final : public OrvThread, private OrvMainThreadDoor, private OrvSendRetries {
public:
    static constexpr char kThreadName[] = "orv.out.SMTPClient";

    // All outlive the client. Throws when the thread's queues cannot be set up.
    OrvCHClient(dsClient& store, OrvSendQueue& queue, OrvCHMesgCommon& identity, OrvConfigListener& config,
                const OrvSMTPTimeouts& timeouts = {}, OrvSMTPSystem& system = OrvSMTPSystem::real(),
                const OrvSMTPDialogue& dialogue = orvRequiredDialogue());
    // Waits until the thread, if it was started, has ended the dialogue that it is in.
    ~OrvCHClient() override;

    // Main thread from here on.

    // Asks the store for the servers. 0, or -1 when the request could not be sent: then this part is reported as
    // complete and the servers stay as they are.
    [[nodiscard]] int readConfig();
    // Takes the answer, ends any retry, chooses the active server and reports this part as complete. Minus the number
    // of unknown keys.
    [[nodiscard]] int processConfigBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses);
    // The answer to a write. 0, or -1 when the write failed or was not this part's.
    [[nodiscard]] int processDsStatus(std::uint32_t id, std::int32_t status) {
        return settings_.processDsStatus(id, status);
    }
    // Starts the thread once; a second call does nothing. 0 or -1.
    [[nodiscard]] int startThread();
    // A management address of the switch is known from now on; sending waits for it.
    void switchAddressChanged() { switchAddressKnown_ = true; }
    void oneSecondTick();
    // Hands the queue's next message to the thread if everything that sending needs is there.
    void tryStart();
    // The daemon stops: from now on no message is taken from the queue. The one that is under way goes to its end, with
    // the second try that some of its recipients may be due for; no reply to QUIT holds it up for long.
    void stopSending() { state_.stopping = true; }
    // A message is under way, or its outcome has not been looked at yet.
    bool sending();
    // Makes the other server active if it is valid. 0, or -1 when nothing changed.
    int changeover() { return settings_.changeover(); }
    // At least one server is enabled and configured.
    bool usable() const { return settings_.usable(); }
    // Counts the valid servers anew; true when both are valid and have the same address.
    bool checkServers();
    void probe() const;

    // State, for tests and status displays.
    bool running() const { return threadRunning_; }
    bool sendOutstanding() const { return sendOutstanding_; }
    bool retryPending() const { return state_.retryPending; }
    std::int32_t countdown() const { return countdown_; }  // seconds; -1 when none is set
    std::uint32_t attempts() const { return delay_.attempts(); }
    std::uint32_t step() const { return delay_.step(); }
    OrvMailServers servers() const { return settings_.servers(); }

    void handleMainMesg(OrvToMainMesg* mesg) override;

    // Send thread.
    void handleThreadMesg(OrvToThreadMesg* mesg) override;

protected:
    int runThread() override;

private:
    static constexpr std::int32_t kNoCountdown = -1;

    // Main thread.
    int applyAnswer(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses);
    void armRetry();
    void endRetry();
    void cancelRetry();
    bool readyToSend() const;
    void pushSendMesg(OrvCHMesg* message);
    void handleFailMesg(const OrvCHClientFail& mesg);
    void reportFailure(const OrvSendFailure& failure) const;
    void handleSucceedMesg(const OrvCHClientSucceed& mesg);
    void finishMessage(OrvCHMesg& message);
    void sendAgain(OrvCHMesg& message) override;
    void sendLater(OrvCHMesg& message) override;
    void announceRetry(const char* method, std::int32_t seconds) const;

    // Send thread.
    void tellMain(std::unique_ptr<OrvToMainMesg> mesg) override { static_cast<void>(pushToMain(std::move(mesg))); }
    void logToMain(const OrvLogKind& entry, const char* text) override { logTextFromThread(entry, text); }

    OrvSendQueue& queue_;
    OrvCHMesgCommon& identity_;
    OrvConfigListener& config_;
    const OrvSMTPDialogue& dialogue_;

    // Both threads.
    OrvSendState state_;
    std::atomic<bool> threadRunning_{false};

    // Main thread only.
    OrvServerSettings settings_;
    OrvRetryDelay delay_;
    bool launched_ = false;
    bool switchAddressKnown_ = false;
    bool sendOutstanding_ = false;
    std::int32_t countdown_ = kNoCountdown;

    // Send thread only.
    OrvSendWorker worker_;
};
