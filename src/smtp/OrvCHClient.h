// Gets queued messages to a mail server: the two servers' configuration, which of them is active, the thread that
// talks SMTP, the retries with their growing delays, and the entries that tell the operator what happened.
//
// One message is on its way at a time. It stays the queue's through every failure: only a dialogue that reached its
// end, with no recipient waiting for a second try, finishes it. The main thread never waits for the send thread.
#pragma once

#include "base/OrvMutex.h"
#include "dsClient.h"
#include "mesgq/OrvSendQueue.h"
#include "profile/OrvCHMesgCommon.h"
#include "profile/OrvConfigListener.h"
#include "smtp/OrvCHClientMesgs.h"
#include "smtp/OrvMailServers.h"
#include "smtp/OrvRetryDelay.h"
#include "smtp/OrvSMTPClient.h"
#include "smtp/OrvSendDialogue.h"
#include "smtp/OrvSpareEntries.h"
#include "thread/OrvThread.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

class OrvCHMesg;

class OrvCHClient final : public OrvThread, private OrvSendReporter {
public:
    static constexpr char kThreadName[] = "orv.out.SMTPClient";
    // Requests to the attribute store.
    static constexpr std::uint32_t kConfigRequestId = 1;
    static constexpr std::uint32_t kActiveServerRequestId = 12;

    // All outlive the client. Throws when the thread's queues cannot be set up.
    OrvCHClient(dsClient& store, OrvSendQueue& queue, OrvCHMesgCommon& identity, OrvConfigListener& config,
                const OrvSMTPTimeouts& timeouts = {}, OrvSMTPSystem& system = OrvSMTPSystem::real());
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
    [[nodiscard]] int processDsStatus(std::uint32_t id, std::int32_t status);
    // Starts the thread once; a second call does nothing. 0 or -1.
    [[nodiscard]] int startThread();
    // A management address of the switch is known from now on; sending waits for it.
    void switchAddressChanged() { switchAddressKnown_ = true; }
    void oneSecondTick();
    // Hands the queue's next message to the thread if everything that sending needs is there.
    void tryStart();
    // The daemon stops: from now on no message is taken from the queue. The one that is under way goes to its end, with
    // the second try that some of its recipients may be due for.
    void stopSending() { stopping_ = true; }
    // A message is under way, or its outcome has not been looked at yet.
    bool sending();
    // Makes the other server active if it is valid. 0, or -1 when nothing changed.
    int changeover();
    // At least one server is enabled and configured.
    bool usable() const;
    // Counts the valid servers anew; true when both are valid and have the same address.
    bool checkServers();
    void probe() const;

    // State, for tests and status displays.
    bool running() const { return threadRunning_; }
    bool sendOutstanding() const { return sendOutstanding_; }
    bool retryPending() const { return retryPending_; }
    std::int32_t countdown() const { return countdown_; }  // seconds; -1 when none is set
    std::uint32_t attempts() const { return delay_.attempts(); }
    std::uint32_t step() const { return delay_.step(); }
    OrvMailServers servers() const;

    void handleMainMesg(OrvToMainMesg* mesg) override;

    // Send thread.
    void handleThreadMesg(OrvToThreadMesg* mesg) override;

protected:
    int runThread() override;

private:
    static constexpr std::int32_t kNoCountdown = -1;
    struct ConfigKey;
    static const ConfigKey kConfigKeys[];

    // Main thread.
    bool applyEntry(const DsEntry& entry);
    int request();
    int applyAnswer(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses);
    void publishActive(const OrvMailServers::Published& published);
    void endRetry();
    void cancelRetry();
    bool readyToSend() const;
    void pushSendMesg(OrvCHMesg* message);
    void handleFailMesg(const OrvCHClientFail& mesg);
    void reportFailure(const OrvSendFailure& failure) const;
    void handleSucceedMesg(const OrvCHClientSucceed& mesg);
    void armRetry();
    void finishMessage(OrvCHMesg& message);
    void sendAgain(OrvCHMesg& message);
    OrvServerRecord activeServer() const;

    // Send thread.
    void handleSendMesg(const OrvCHClientSend& mesg);
    int sendMessage(OrvCHMesg& message, OrvSendFailure& failure);
    OrvSendDialogue::Server takeCurrentServer();
    void pushFailMesg(OrvCHMesg& message, OrvSendFailure&& failure);
    void pushSucceedMesg(OrvCHMesg& message);
    void keepSpares();
    void makeRoomForEntries(std::size_t count) override { spareEntries_.add(count); }
    void logSend(const OrvLogKind& entry, const char* text) override;
    bool isRetryPending() const override { return retryPending_; }

    dsClient& store_;
    OrvSendQueue& queue_;
    OrvCHMesgCommon& identity_;
    OrvConfigListener& config_;

    // Main thread only.
    bool launched_ = false;
    bool gatewayEnabled_ = false;  // only shown
    bool switchAddressKnown_ = false;
    bool sendOutstanding_ = false;
    bool stopping_ = false;
    std::int32_t countdown_ = kNoCountdown;
    OrvRetryDelay delay_;

    // Both threads.
    std::atomic<bool> retryPending_{false};  // written by the main thread
    std::atomic<bool> threadRunning_{false};
    mutable Mt::Mutex lock_;
    OrvMailServers servers_;                 // under lock_; written by the main thread
    OrvSendDialogue::Server currentServer_;  // under lock_; written by the send thread

    // Send thread only.
    OrvSMTPClient client_;
    // In hand before a message is sent: no mail that has been taken is left without its outcome for want of memory.
    std::unique_ptr<OrvCHClientFail> fail_;
    std::unique_ptr<OrvCHClientSucceed> succeed_;
    OrvSpareEntries spareEntries_;
};
