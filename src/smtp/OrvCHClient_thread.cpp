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
    OrvSendFailure failure;
    if (sendMessage(*mesg.message(), failure) == 0) {
        pushOutcome(std::unique_ptr<OrvToMainMesg>(new (std::nothrow) OrvCHClientSucceed(mesg.message())),
                    "OrvCHClientSucceed");
    } else {
        pushOutcome(
            std::unique_ptr<OrvToMainMesg>(new (std::nothrow) OrvCHClientFail(mesg.message(), std::move(failure))),
            "OrvCHClientFail");
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

void OrvCHClient::pushOutcome(std::unique_ptr<OrvToMainMesg> mesg, const char* kind) {
    if (mesg == nullptr) {
        ORV_TRACE("Failure to allocate %s object\n", kind);
        ORV_TRACE("Send thread exiting\n");
        endDispatcher();
        return;
    }
    [[maybe_unused]] const int result = pushToMain(std::move(mesg));
}

void OrvCHClient::logSend(int level, std::uint32_t id, const char* text) {
    logFromThread(static_cast<std::uint32_t>(level), id, "%s", text);
}
