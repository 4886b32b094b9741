#include "smtp/OrvEnvelopeDialogue.h"

#include "base/OrvAtEnd.h"
#include "base/OrvMutex.h"
#include "dbg/OrvDbg.h"
#include "profile/OrvCHMesgCommon.h"
#include "smtp/OrvMailComposer.h"

#include <cstdio>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvSendDialogue";  // whose part this is
// About one recipient: what becomes of it, and the refusing reply.
constexpr std::size_t kEntriesARefusal = 2;

using Envelope = OrvCHEnvelope;

// The state of a recipient that was refused, from its state before and the refusing reply.
char stateAfterRefusal(char before, const std::string& reply) {
    if (before == Envelope::kRefusedOnce) {
        return Envelope::kRefusedTwice;
    }
    return reply.starts_with("4") ? Envelope::kRefusedOnce : Envelope::kGivenUp;
}

// A step's result; when that is negative the undoing runs, also when an exception ends the step.
template <typename Step, typename Undo>
int runOrUndo(const Step& step, const Undo& undo) {
    int result = -1;
    const OrvAtEnd undoFailure([&] {
        if (result < 0) {
            undo();
        }
    });
    result = step();
    return result;
}

}  // namespace

void orvTraceException(const char* what) {
    orvTrace(kTraceModule, "traceException", "%s\n", what);
}

int OrvEnvelopeDialogue::run() {
    orvTrace(kTraceModule, "sendEnvelope", "Processing envelope[%s]\n", envelope_.ProfileName.c_str());
    if (parties_.client.sendMailFrom(senderAddress()) < 0 || offerRecipients() < 0) {
        return -1;
    }
    if (accepted_ == 0) {
        refuseEnvelope();
    } else if (deliverText() < 0) {
        return -1;
    }
    settleRecipients();
    return 0;
}

std::string OrvEnvelopeDialogue::senderAddress() const {
    const OrvCHMesgCommon::Reader identity(parties_.identity);
    return identity->From;
}

// -1 when the connection was lost. "Refused again" exists only within a pass: it does not outlive a lost one.
int OrvEnvelopeDialogue::offerRecipients() {
    refusals_.assign(envelope_.Recipients.size(), "");
    makeRoomForMarks();
    parties_.reporter.makeRoomForEntries(1);  // that nobody was accepted
    for (std::size_t i = 0; i < envelope_.Recipients.size(); ++i) {
        const char mark = markAt(i);
        if (mark == Envelope::kGivenUp) {
            parties_.reporter.makeRoomForEntries(kEntriesARefusal);
        }
        if (mark == Envelope::kDelivered || mark == Envelope::kGivenUp) {
            continue;
        }
        const auto restore = [&] {
            setMark(i, mark);
            replaceMarks(Envelope::kRefusedTwice, Envelope::kRefusedOnce);
        };
        if (runOrUndo([&] { return offerRecipient(i); }, restore) < 0) {
            return -1;
        }
    }
    return 0;
}

int OrvEnvelopeDialogue::offerRecipient(std::size_t position) {
    OrvSMTPClient& client = parties_.client;
    const char before = markAt(position);
    setMark(position, Envelope::kNoMark);
    if (client.sendRcptTo(addressAt(position)) == 0) {
        ++accepted_;
        return 0;
    }
    if (!client.connected()) {
        return -1;
    }
    parties_.reporter.makeRoomForEntries(kEntriesARefusal);
    refusals_[position] = client.lastReply();
    setMark(position, stateAfterRefusal(before, client.lastReply()));
    return 0;
}

void OrvEnvelopeDialogue::refuseEnvelope() {
    orvTryTo([this] { parties_.client.sendReset(); });
    parties_.reporter.report(orv_log::kNoRecipientAccepted, parties_.server.Address.c_str(),
                             parties_.server.shownPort(), envelope_.ProfileName.c_str());
}

int OrvEnvelopeDialogue::deliverText() {
    const auto deliver = [this] {
        OrvSMTPClient& client = parties_.client;
        std::string text;
        if (client.sendDataCmd() < 0 ||
            OrvMailComposer(parties_.identity).compose(parties_.message, envelope_, clientIdentity_, text) < 0 ||
            client.sendBody(std::move(text)) < 0) {
            return -1;
        }
        return client.sendDataEnd() == 0 ? 0 : -1;
    };
    return runOrUndo(deliver, [this] {
        replaceMarks(Envelope::kRefusedOnce, Envelope::kNoMark);
        replaceMarks(Envelope::kRefusedTwice, Envelope::kRefusedOnce);
    });
}

// First of all whom the mail has reached: nothing that fails from here on may have them get it again.
void OrvEnvelopeDialogue::settleRecipients() {
    replaceMarks(Envelope::kNoMark, Envelope::kDelivered);
    bool pending = false;
    for (std::size_t i = 0; i < envelope_.Recipients.size(); ++i) {
        pending = settleRecipient(i) || pending;
    }
    if (!pending) {
        const Mt::Lock lock(parties_.message.lock());
        changing_.Done = true;
    }
}

// True when the recipient is due for another try.
// Kept: a recipient given up in an earlier pass is reported again, then without a reply.
bool OrvEnvelopeDialogue::settleRecipient(std::size_t position) {
    switch (markAt(position)) {
        case Envelope::kRefusedOnce:
            reportRecipient(orv_log::kRecipientRetry, position);
            return true;
        case Envelope::kRefusedTwice:
            setMark(position, Envelope::kGivenUp);
            reportRecipient(orv_log::kRecipientRetryFailed, position);
            return false;
        case Envelope::kGivenUp:
            reportRecipient(orv_log::kRecipientGivenUp, position);
            return false;
        default:
            return false;
    }
}

void OrvEnvelopeDialogue::reportRecipient(const RecipientEntry& entry, std::size_t position) {
    const OrvEntryText recipient = addressForEntry(position);
    const char* profile = envelope_.ProfileName.c_str();
    const char* server = parties_.server.Address.c_str();
    const int port = parties_.server.shownPort();
    parties_.reporter.report(entry, profile, recipient.data(), server, port);
    parties_.reporter.report(orv_log::kRecipientRefused, profile, recipient.data(), server, port,
                             refusals_[position].c_str());
}

template <typename Action>
auto OrvEnvelopeDialogue::atRecipient(std::size_t position, const Action& action) const {
    const Mt::Lock lock(parties_.message.lock());
    changing_.RecipientCursor = position;
    return action(changing_);
}

// So that no mark that is set later needs memory.
void OrvEnvelopeDialogue::makeRoomForMarks() {
    const Mt::Lock lock(parties_.message.lock());
    for (std::string& recipient : changing_.Recipients) {
        recipient.reserve(recipient.size() + 1);
    }
}

char OrvEnvelopeDialogue::markAt(std::size_t position) const {
    return atRecipient(position, [](const Envelope& envelope) { return envelope.recipientMark(); });
}

void OrvEnvelopeDialogue::setMark(std::size_t position, char mark) {
    atRecipient(position, [&](Envelope& envelope) { envelope.setRecipientMark(mark); });
}

// All at once for whoever looks at them.
void OrvEnvelopeDialogue::replaceMarks(char mark, char by) {
    const Mt::Lock lock(parties_.message.lock());
    for (std::size_t i = 0; i < envelope_.Recipients.size(); ++i) {
        changing_.RecipientCursor = i;
        if (envelope_.recipientMark() == mark) {
            changing_.setRecipientMark(by);
        }
    }
}

std::string OrvEnvelopeDialogue::addressAt(std::size_t position) const {
    return atRecipient(position, [](const Envelope& envelope) { return envelope.recipientAddress(); });
}

// Without its mark, and without asking for memory.
OrvEntryText OrvEnvelopeDialogue::addressForEntry(std::size_t position) const {
    return atRecipient(position, [&](const Envelope& envelope) {
        OrvEntryText text{};
        const std::string& recipient = envelope.Recipients[position];
        const std::size_t markLength = Envelope::markOf(recipient) == Envelope::kNoMark ? 0 : 1;
        std::snprintf(text.data(), text.size(), "%s", recipient.c_str() + markLength);
        return text;
    });
}
