// The required dialogue: one receive is a reply, texts go out as composed, and who is put off is tried once more, at
// once.
#include "base/OrvSteps.h"
#include "mesgq/OrvSendQueue.h"
#include "smtp/OrvEnvelopeDialogue.h"
#include "smtp/OrvMailBuffer.h"
#include "smtp/OrvMailComposer.h"
#include "smtp/OrvSMTPConnection.h"
#include "smtp/OrvSMTPDialogue.h"

#include <cstddef>
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

// An envelope's part: its recipients offered, its text delivered, and the recipients' states settled.
//
// What was tried in vain is undone, by an exception too; a recipient that was refused before stays so.
class RequiredEnvelope final : private OrvEnvelopeDialogue {
public:
    RequiredEnvelope(const OrvSendParties& parties, const std::string& clientIdentity, OrvCHEnvelope& envelope)
        : OrvEnvelopeDialogue(parties, clientIdentity, envelope) {}

    // 0 when every recipient's state is settled, -1 when the dialogue has failed.
    [[nodiscard]] int run();

private:
    int offerRecipients();
    int offerRecipient(std::size_t position);
    void refuseEnvelope();
    int deliverText();
    void settleRecipients();
    bool settleRecipient(std::size_t position);

    std::size_t accepted_ = 0;  // recipients
};

int RequiredEnvelope::run() {
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
int RequiredEnvelope::offerRecipients() {
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

int RequiredEnvelope::offerRecipient(std::size_t position) {
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

void RequiredEnvelope::refuseEnvelope() {
    orvTryTo([this] { parties_.client.sendReset(); });
    reportNobodyAccepted();
}

int RequiredEnvelope::deliverText() {
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
void RequiredEnvelope::settleRecipients() {
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
bool RequiredEnvelope::settleRecipient(std::size_t position) {
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

class RequiredDialogue final : public OrvSMTPDialogue {
public:
    const char* name() const override { return "required"; }
    // Needs no memory: without it, a mail that the server has just taken would be sent again.
    OrvSMTPReply awaitReply(OrvSMTPConnection& connection, OrvSMTPSession& /*session*/) const override {
        if (connection.receive() < 0) {
            return {};
        }
        const char* const text = connection.received();
        const bool agrees = *text == '2' || *text == '3';
        return {text, agrees ? nullptr : "SMTP server error Response"};
    }
    const char* objection(OrvSMTPConnection& /*connection*/, OrvSMTPSession& /*session*/) const override {
        return nullptr;
    }
    void takeHello(OrvSMTPSession& /*session*/) const override {}
    std::string commandLine(const std::string& command) const override { return command + kOrvLineEnd; }
    // Kept: no dot is doubled and no line is wrapped.
    void endText(std::string& text) const override { text += kOrvLineEnd; }
    int sendEnvelope(const OrvSendParties& parties, const std::string& clientIdentity,
                     OrvCHEnvelope& envelope) const override {
        return RequiredEnvelope(parties, clientIdentity, envelope).run();
    }
    // Kept: a probe says what it always has.
    const char* nameInProbe() const override { return nullptr; }
    void tryAgain(OrvSendRetries& retries, OrvCHMesg& message) const override { retries.sendAgain(message); }
    void giveBack(OrvSendQueue& queue, OrvCHMesg* message) const override { queue.peekClose(message); }
};

}  // namespace

const OrvSMTPDialogue& orvRequiredDialogue() {
    static constexpr RequiredDialogue kDialogue;
    return kDialogue;
}
