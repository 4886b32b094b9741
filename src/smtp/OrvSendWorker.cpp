#include "smtp/OrvSendWorker.h"

#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"

#include <cstring>
#include <exception>
#include <new>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHClient";  // whose part this is
constexpr std::size_t kTextLength = 511;

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

void OrvSpareEntries::add(std::size_t count) {
    spares_.reserve(spares_.size() + count);
    for (; count > 0; --count) {
        OrvThreadSwLogApp::Entry entry;
        entry.text.reserve(kTextLength);
        spares_.push_back(std::make_unique<OrvThreadSwLogApp>(std::move(entry)));
    }
}

void OrvSpareEntries::shrinkTo(std::size_t count) {
    while (spares_.size() > count) {
        spares_.pop_back();
    }
}

std::unique_ptr<OrvThreadSwLogApp> OrvSpareEntries::take(const OrvLogKind& kind, const char* text) {
    if (spares_.empty()) {
        return nullptr;
    }
    std::unique_ptr<OrvThreadSwLogApp> spare = std::move(spares_.back());
    spares_.pop_back();
    OrvThreadSwLogApp::Entry& entry = spare->entry();
    entry.level = static_cast<std::uint32_t>(kind.level);
    entry.id = kind.id;
    entry.flags = kOrvOwnEntryFlags;
    entry.component = orvApplication();
    entry.text.assign(text, strnlen(text, kTextLength));
    return spare;
}

OrvSendWorker::OrvSendWorker(const OrvCHMesgCommon& identity, OrvSendState& state, OrvMainThreadDoor& door,
                             const OrvSMTPTimeouts& timeouts, OrvSMTPSystem& system, const OrvSMTPDialogue& dialogue)
    : identity_(identity), state_(state), door_(door), client_(timeouts, system, dialogue) {
    keepSpares();
}

int OrvSendWorker::handleSendMesg(const OrvCHClientSend& mesg) {
    // Before anything is sent: a mail that has reached its recipients would be sent to them again after a restart.
    if (!provide(fail_) || !provide(succeed_)) {
        ORV_TRACE("Failure to allocate %s object\n", fail_ == nullptr ? "OrvCHClientFail" : "OrvCHClientSucceed");
        ORV_TRACE("Send thread exiting\n");
        return -1;
    }
    OrvSendFailure failure;
    if (sendMessage(*mesg.message(), failure) == 0) {
        pushSucceedMesg(*mesg.message());
    } else {
        pushFailMesg(*mesg.message(), std::move(failure));
    }
    keepSpares();
    return 0;
}

// For the next message, as far as there is memory now. One entry: that its dialogue could not even begin.
void OrvSendWorker::keepSpares() {
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

int OrvSendWorker::sendMessage(OrvCHMesg& message, OrvSendFailure& failure) {
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

// A failure to take the active server over must not be told of the one before, nor of half of this one.
OrvMailServer OrvSendWorker::takeCurrentServer() {
    const Mt::Lock lock(state_.lock);
    state_.current = {};
    state_.current.Address.clear();
    state_.current = OrvMailServer(state_.servers.active());
    return state_.current;
}

void OrvSendWorker::pushFailMesg(OrvCHMesg& message, OrvSendFailure&& failure) {
    fail_->setMessage(&message);
    fail_->setFailure(std::move(failure));
    door_.tellMain(std::move(fail_));
}

void OrvSendWorker::pushSucceedMesg(OrvCHMesg& message) {
    succeed_->setMessage(&message);
    door_.tellMain(std::move(succeed_));
}

void OrvSendWorker::logSend(const OrvLogKind& entry, const char* text) {
    if (std::unique_ptr<OrvToMainMesg> mesg = spareEntries_.take(entry, text); mesg != nullptr) {
        door_.tellMain(std::move(mesg));
    } else {
        door_.logToMain(entry, text);
    }
}
