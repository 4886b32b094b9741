#include "smtp/OrvCHClient.h"

#include "Mt/Threader.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "mesg/OrvCHMesg.h"

#include <unistd.h>

#include <algorithm>
#include <new>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHClient";
constexpr int kOrdinaryPriority = 0;

}  // namespace

OrvCHClient::OrvCHClient(dsClient& store, OrvSendQueue& queue, OrvCHMesgCommon& identity, OrvConfigListener& config,
                         const OrvSMTPTimeouts& timeouts, OrvSMTPSystem& system, const OrvSMTPDialogue& dialogue)
    : OrvThread(kOrdinaryPriority, kThreadName),
      queue_(queue),
      identity_(identity),
      config_(config),
      dialogue_(dialogue),
      settings_(store, state_),
      worker_(identity, state_, *this, timeouts, system, dialogue) {
}

OrvCHClient::~OrvCHClient() {
    if (launched_) {
        stopAndWait();
    }
}

int OrvCHClient::readConfig() {
    ORV_TRACE("Entry\n");
    return orvCompleteUnlessSent(config_, OrvConfigListener::kSendClient, [this] { return settings_.request(); });
}

int OrvCHClient::processConfigBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses) {
    return orvCompleteAfter(config_, OrvConfigListener::kSendClient, [&] { return applyAnswer(entries, statuses); });
}

int OrvCHClient::applyAnswer(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses) {
    const int result = settings_.apply(entries, statuses);
    endRetry();
    delay_.setValidServers(settings_.validCount());
    return result;
}

bool OrvCHClient::checkServers() {
    delay_.setValidServers(settings_.validCount());
    return settings_.duplicate();
}

int OrvCHClient::startThread() {
    if (launched_) {
        return 0;
    }
    if (Mt::Threader::launch(*this) != 0) {
        orvLog(orv_log::kSendThreadNotStarted);
        return -1;
    }
    launched_ = true;
    return 0;
}

void OrvCHClient::probe() const {
    settings_.probe();
    if (const char* const name = dialogue_.nameInProbe(); name != nullptr) {
        ORV_TRACE("SMTP Dialogue Information:\n  SMTPDialogue = %s\n\n", name);
    }
}

void OrvCHClient::oneSecondTick() {
    if (state_.retryPending) {
        if (queue_.sendCount() == 0) {
            cancelRetry();
        } else if (!sendOutstanding_) {
            // At 0 it stays there: a start that cannot be made now is made at a later tick.
            countdown_ = std::max(0, countdown_ - 1);
            if (countdown_ == 0) {
                tryStart();
            }
        }
    }
    if (!state_.retryPending && !sendOutstanding_) {
        tryStart();
    }
}

void OrvCHClient::cancelRetry() {
    orvLog(orv_log::kQueueEmpty);
    endRetry();
}

void OrvCHClient::endRetry() {
    state_.retryPending = false;
    countdown_ = kNoCountdown;
    delay_.reset();
}

void OrvCHClient::tryStart() {
    if (state_.stopping || sendOutstanding_ || !readyToSend()) {
        return;
    }
    if (OrvCHMesg* message = queue_.peekOpen(); message != nullptr) {
        pushSendMesg(message);
    }
}

// A thread that has ended without a word about its message never says one.
bool OrvCHClient::sending() {
    return sendOutstanding_ && (!ended() || (toMain() != nullptr && toMain()->count() != 0));
}

bool OrvCHClient::readyToSend() const {
    return threadRunning_ && switchAddressKnown_ && queue_.sendCount() != queue_.openCount() && usable() &&
           !orvIsDefaultSender(identity_.current().From);
}

// Nothing is outstanding afterwards when the message cannot be handed over: the queue has it back.
void OrvCHClient::pushSendMesg(OrvCHMesg* message) {
    std::unique_ptr<OrvCHClientSend> mesg(new (std::nothrow) OrvCHClientSend(message));
    if (mesg == nullptr) {
        orvMemoryAlarm();
        ORV_TRACE("Failure to allocate OrvCHClientSend object\n");
        ORV_TRACE("Main thread exiting\n");
        // Without static destructors, which would run under live threads. Every trace line is in its file already.
        _exit(1);
    }
    sendOutstanding_ = pushToThread(std::move(mesg)) == 0;
    if (!sendOutstanding_) {
        queue_.peekClose(message);
    }
}

void OrvCHClient::handleMainMesg(OrvToMainMesg* mesg) {
    if (handleSwLogApp(mesg)) {
        return;
    }
    if (const auto* fail = dynamic_cast<const OrvCHClientFail*>(mesg); fail != nullptr) {
        handleFailMesg(*fail);
    } else if (const auto* succeed = dynamic_cast<const OrvCHClientSucceed*>(mesg); succeed != nullptr) {
        handleSucceedMesg(*succeed);
    } else {
        ORV_TRACE("Unrecognized message ID [%d] sent from child thread\n", static_cast<int>(mesg->code()));
    }
}

// What must not be left out comes first: the rest may find no memory, and then sending has to go on all the same, on
// the other server.
void OrvCHClient::handleFailMesg(const OrvCHClientFail& mesg) {
    sendOutstanding_ = false;
    const bool retries = usable();
    if (retries) {
        armRetry();
    }
    orvBestEffort(__func__, [&] { dialogue_.giveBack(queue_, mesg.message()); });
    orvBestEffort(__func__, [&] { reportFailure(mesg.failure()); });
    if (!retries) {
        orvTraceAndLog(kTraceModule, __func__, orv_log::kNoUsableServer);
        return;
    }
    changeover();
    announceRetry("handleFailMesg", countdown_);
}

void OrvCHClient::announceRetry(const char* method, std::int32_t seconds) const {
    const OrvMailServer server = settings_.active();
    orvTrace(kTraceModule, method, "Will retry via SMTP server=%s, port=%d, after %d seconds\n", server.Address.c_str(),
             server.shownPort(), seconds);
    orvLog(orv_log::kRetryLater, server.Address.c_str(), server.shownPort(), seconds);
}

void OrvCHClient::reportFailure(const OrvSendFailure& failure) const {
    const Mt::Lock lock(state_.lock);
    const OrvMailServer& server = state_.current;
    orvTraceAndLog(kTraceModule, "handleFailMesg", orv_log::kSendFailed, server.Address.c_str(), server.shownPort(),
                   failure.reason.c_str(), failure.description.c_str(), failure.response.c_str());
}

void OrvCHClient::handleSucceedMesg(const OrvCHClientSucceed& mesg) {
    OrvCHMesg& message = *mesg.message();
    const auto& envelopes = message.Envelopes;
    if (std::all_of(envelopes.begin(), envelopes.end(), [](const auto& envelope) { return envelope->Done; })) {
        finishMessage(message);
        return;
    }
    dialogue_.tryAgain(*this, message);
}

void OrvCHClient::armRetry() {
    state_.retryPending = true;
    countdown_ = static_cast<std::int32_t>(delay_.nextAfterFailure());
}

void OrvCHClient::finishMessage(OrvCHMesg& message) {
    sendOutstanding_ = false;
    endRetry();
    const bool undelivered = message.resetRecipients() != 0;
    queue_.peekDelete(&message, undelivered ? 1 : 0);
    tryStart();
}

// Some recipients are due for their second try: at once, on the other server if there is one. Without the memory to
// say so it is the next tick that sends the message again.
void OrvCHClient::sendAgain(OrvCHMesg& message) {
    try {
        changeover();
        const OrvMailServer server = settings_.active();
        orvTrace(kTraceModule, "handleSucceedMesg", "Will retry via SMTP server=%s, port=%d\n", server.Address.c_str(),
                 server.shownPort());
        orvLog(orv_log::kRetryNow, server.Address.c_str(), server.shownPort());
    } catch (...) {
        sendOutstanding_ = false;
        queue_.peekClose(&message);
        throw;
    }
    pushSendMesg(&message);
}

// The queue has it back before anything that may find no memory.
void OrvCHClient::sendLater(OrvCHMesg& message) {
    const std::uint32_t seconds = delay_.nextAfter(message.PutOff);
    sendOutstanding_ = false;
    endRetry();
    queue_.postpone(&message, seconds);
    orvBestEffort("handleSucceedMesg", [&] {
        changeover();
        announceRetry("handleSucceedMesg", static_cast<std::int32_t>(seconds));
    });
    tryStart();
}

int OrvCHClient::runThread() {
    threadRunning_ = true;
    const int result = runDispatcher();
    if (result < 0) {
        ORV_TRACE("handle_events failed\n");
    }
    ORV_TRACE("Terminating\n");
    return result;
}

void OrvCHClient::handleThreadMesg(OrvToThreadMesg* mesg) {
    const auto* send = dynamic_cast<const OrvCHClientSend*>(mesg);
    if (send == nullptr) {
        ORV_TRACE("Unrecognized message ID [%d] sent from main thread\n", static_cast<int>(mesg->code()));
    } else if (worker_.handleSendMesg(*send) < 0) {
        endDispatcher();
    }
}
