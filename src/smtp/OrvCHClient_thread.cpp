// The send thread's part: one dialogue per message, and its outcome back to the main thread.
#include "dbg/OrvDbg.h"
#include "mesg/OrvCHMesg.h"
#include "smtp/OrvCHClient.h"

#include <exception>
#include <new>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHClient";

// Reason and response stay empty: what the client holds belongs to an earlier dialogue. All of it does when there is
// no memory for the text.
void describe(OrvSendFailure& failure, const char* what) {
    try {
        failure.description = what;
    } catch (const std::bad_alloc&) {
        ORV_TRACE("no memory for the reason\n");
    }
}

// False when there is no memory for it.
template <typename Outcome>
bool provide(std::unique_ptr<Outcome>& outcome) {
    if (outcome == nullptr) {
        outcome.reset(new (std::nothrow) Outcome);
    }
    return outcome != nullptr;
}

}  // namespace

OrvCHClient::~OrvCHClient() {
    if (launched_) {
        stopAndWait();
    }
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
    if (const auto* send = dynamic_cast<const OrvCHClientSend*>(mesg); send != nullptr) {
        handleSendMesg(*send);
    } else {
        ORV_TRACE("Unrecognized message ID [%d] sent from main thread\n", static_cast<int>(mesg->code()));
    }
}

void OrvCHClient::handleSendMesg(const OrvCHClientSend& mesg) {
    // Before anything is sent: a mail that has reached its recipients would be sent to them again after a restart.
    if (!provide(fail_) || !provide(succeed_)) {
        ORV_TRACE("Failure to allocate %s object\n", fail_ == nullptr ? "OrvCHClientFail" : "OrvCHClientSucceed");
        ORV_TRACE("Send thread exiting\n");
        endDispatcher();
        return;
    }
    OrvSendFailure failure;
    if (sendMessage(*mesg.message(), failure) == 0) {
        pushSucceedMesg(*mesg.message());
    } else {
        pushFailMesg(*mesg.message(), std::move(failure));
    }
    keepSpares();
}

// For the next message, as far as there is memory now. One entry: that its dialogue could not even begin.
void OrvCHClient::keepSpares() {
    constexpr std::size_t kEntries = 1;
    spareEntries_.shrinkTo(kEntries);
    provide(fail_);
    provide(succeed_);
    try {
        spareEntries_.add(kEntries - spareEntries_.count());
    } catch (const std::bad_alloc&) {
        // It will do without.
    }
}

int OrvCHClient::sendMessage(OrvCHMesg& message, OrvSendFailure& failure) {
    try {
        OrvSendDialogue dialogue(client_, identity_, *this, takeCurrentServer(), message);
        const int result = dialogue.run();
        failure = dialogue.takeFailure();
        return result;
    } catch (const std::exception& error) {
        // A dialogue that cannot even begin, for want of memory, must not end the thread: it is tried again.
        ORV_TRACE("%s\n", error.what());
        client_.disconnect();
        describe(failure, error.what());
        OrvSendDialogue::reportCriticalFailure(*this);
    }
    return -1;
}

OrvSendDialogue::Server OrvCHClient::takeCurrentServer() {
    const Mt::Lock lock(lock_);
    const OrvServerRecord& server = servers_.active();
    currentServer_ = {};  // a failure to take it over must not be told of the server before
    currentServer_ = {server.Kind, server.Address, server.Port};
    return currentServer_;
}

void OrvCHClient::pushFailMesg(OrvCHMesg& message, OrvSendFailure&& failure) {
    fail_->setMessage(&message);
    fail_->setFailure(std::move(failure));
    [[maybe_unused]] const int result = pushToMain(std::move(fail_));
}

void OrvCHClient::pushSucceedMesg(OrvCHMesg& message) {
    succeed_->setMessage(&message);
    [[maybe_unused]] const int result = pushToMain(std::move(succeed_));
}

void OrvCHClient::logSend(const OrvLogKind& entry, const char* text) {
    if (std::unique_ptr<OrvToMainMesg> mesg = spareEntries_.take(entry, text); mesg != nullptr) {
        [[maybe_unused]] const int result = pushToMain(std::move(mesg));
        return;
    }
    logTextFromThread(entry, text);
}
