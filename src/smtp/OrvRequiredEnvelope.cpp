#include "smtp/OrvRequiredEnvelope.h"

#include "base/OrvAtEnd.h"
#include "smtp/OrvMailComposer.h"

#include <string>
#include <utility>

namespace {

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

int OrvRequiredEnvelope::run() {
    traceBeginning();
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

// -1 when the connection was lost. "Refused again" exists only within a pass: it does not outlive a lost one.
int OrvRequiredEnvelope::offerRecipients() {
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

int OrvRequiredEnvelope::offerRecipient(std::size_t position) {
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

void OrvRequiredEnvelope::refuseEnvelope() {
    orvTryTo([this] { parties_.client.sendReset(); });
    reportNobodyAccepted();
}

int OrvRequiredEnvelope::deliverText() {
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
void OrvRequiredEnvelope::settleRecipients() {
    replaceMarks(Envelope::kNoMark, Envelope::kDelivered);
    bool pending = false;
    for (std::size_t i = 0; i < envelope_.Recipients.size(); ++i) {
        pending = settleRecipient(i) || pending;
    }
    if (!pending) {
        setDone();
    }
}

// True when the recipient is due for another try.
// Kept: a recipient given up in an earlier pass is reported again, then without a reply.
bool OrvRequiredEnvelope::settleRecipient(std::size_t position) {
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
