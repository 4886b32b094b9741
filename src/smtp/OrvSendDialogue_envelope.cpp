// One envelope of the dialogue: its recipients offered, its text delivered, and the recipients' states settled.
#include "smtp/OrvSendDialogue.h"

#include "base/OrvMutex.h"
#include "dbg/OrvDbg.h"
#include "mesg/OrvCHMesg.h"
#include "profile/OrvCHMesgCommon.h"

#include <cstdio>

namespace {

constexpr char kTraceModule[] = "OrvSendDialogue";

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

}  // namespace

int OrvSendDialogue::sendEnvelope(OrvCHEnvelope& envelope) {
    ORV_TRACE("Processing envelope[%s]\n", envelope.ProfileName.c_str());
    if (client_.sendMailFrom(senderAddress()) < 0 || offerRecipients(envelope) < 0) {
        return -1;
    }
    if (accepted_ == 0) {
        refuseEnvelope(envelope);
    } else if (attempt([&] { return deliverText(envelope); }) < 0) {
        replaceMarks(envelope, Envelope::kRefusedOnce, Envelope::kNoMark);
        replaceMarks(envelope, Envelope::kRefusedTwice, Envelope::kRefusedOnce);
        return -1;
    }
    settleRecipients(envelope);
    return 0;
}

std::string OrvSendDialogue::senderAddress() const {
    const OrvCHMesgCommon::Reader identity(identity_);
    return identity->From;
}

// -1 when the connection was lost. "Refused again" exists only within a pass: it does not outlive a lost one.
int OrvSendDialogue::offerRecipients(OrvCHEnvelope& envelope) {
    accepted_ = 0;
    refusals_.assign(envelope.Recipients.size(), "");
    makeRoomForMarks(envelope);
    reporter_.makeRoomForEntries(1);  // that nobody was accepted
    for (std::size_t i = 0; i < envelope.Recipients.size(); ++i) {
        const char mark = markAt(envelope, i);
        if (mark == Envelope::kGivenUp) {
            reporter_.makeRoomForEntries(kEntriesARefusal);
        }
        if (mark == Envelope::kDelivered || mark == Envelope::kGivenUp) {
            continue;
        }
        if (attempt([&] { return offerRecipient(envelope, i); }) < 0) {
            setMark(envelope, i, mark);
            replaceMarks(envelope, Envelope::kRefusedTwice, Envelope::kRefusedOnce);
            return -1;
        }
    }
    return 0;
}

int OrvSendDialogue::offerRecipient(OrvCHEnvelope& envelope, std::size_t position) {
    const char before = markAt(envelope, position);
    setMark(envelope, position, Envelope::kNoMark);
    if (client_.sendRcptTo(addressAt(envelope, position)) == 0) {
        ++accepted_;
        return 0;
    }
    if (!client_.connected()) {
        return -1;
    }
    reporter_.makeRoomForEntries(kEntriesARefusal);
    refusals_[position] = client_.lastReply();
    setMark(envelope, position, stateAfterRefusal(before, client_.lastReply()));
    return 0;
}

void OrvSendDialogue::refuseEnvelope(const OrvCHEnvelope& envelope) {
    tryTo([this] { client_.sendReset(); });
    reporter_.report(orv_log::kNoRecipientAccepted, server_.address.c_str(), static_cast<int>(server_.port),
                     envelope.ProfileName.c_str());
}

int OrvSendDialogue::deliverText(const OrvCHEnvelope& envelope) {
    std::string text;
    if (client_.sendDataCmd() < 0 || composer_.compose(message_, envelope, clientIdentity_, text) < 0 ||
        client_.sendBody(std::move(text)) < 0) {
        return -1;
    }
    return client_.sendDataEnd() == 0 ? 0 : -1;
}

// First of all whom the mail has reached: nothing that fails from here on may have them get it again.
void OrvSendDialogue::settleRecipients(OrvCHEnvelope& envelope) {
    replaceMarks(envelope, Envelope::kNoMark, Envelope::kDelivered);
    bool pending = false;
    for (std::size_t i = 0; i < envelope.Recipients.size(); ++i) {
        pending = settleRecipient(envelope, i) || pending;
    }
    if (!pending) {
        const Mt::Lock lock(message_.lock());
        envelope.Done = true;
    }
}

// True when the recipient is due for another try.
// Kept: a recipient given up in an earlier pass is reported again, then without a reply.
bool OrvSendDialogue::settleRecipient(OrvCHEnvelope& envelope, std::size_t position) {
    switch (markAt(envelope, position)) {
        case Envelope::kRefusedOnce:
            reportRecipient(orv_log::kRecipientRetry, envelope, position);
            return true;
        case Envelope::kRefusedTwice:
            setMark(envelope, position, Envelope::kGivenUp);
            reportRecipient(orv_log::kRecipientRetryFailed, envelope, position);
            return false;
        case Envelope::kGivenUp:
            reportRecipient(orv_log::kRecipientGivenUp, envelope, position);
            return false;
        default:
            return false;
    }
}

void OrvSendDialogue::reportRecipient(const RecipientEntry& entry, const OrvCHEnvelope& envelope,
                                      std::size_t position) {
    const OrvEntryText recipient = addressForEntry(envelope, position);
    const char* profile = envelope.ProfileName.c_str();
    const char* server = server_.address.c_str();
    const int port = static_cast<int>(server_.port);
    reporter_.report(entry, profile, recipient.data(), server, port);
    reporter_.report(orv_log::kRecipientRefused, profile, recipient.data(), server, port, refusals_[position].c_str());
}

// Without its mark.
OrvEntryText OrvSendDialogue::addressForEntry(const OrvCHEnvelope& envelope, std::size_t position) const {
    OrvEntryText text{};
    const Mt::Lock lock(message_.lock());
    const std::string& recipient = envelope.Recipients[position];
    const std::size_t markLength = Envelope::markOf(recipient) == Envelope::kNoMark ? 0 : 1;
    std::snprintf(text.data(), text.size(), "%s", recipient.c_str() + markLength);
    return text;
}

// So that no mark that is set later needs memory.
void OrvSendDialogue::makeRoomForMarks(OrvCHEnvelope& envelope) const {
    const Mt::Lock lock(message_.lock());
    for (std::string& recipient : envelope.Recipients) {
        recipient.reserve(recipient.size() + 1);
    }
}

char OrvSendDialogue::markAt(OrvCHEnvelope& envelope, std::size_t position) const {
    const Mt::Lock lock(message_.lock());
    envelope.RecipientCursor = position;
    return envelope.recipientMark();
}

void OrvSendDialogue::setMark(OrvCHEnvelope& envelope, std::size_t position, char mark) const {
    const Mt::Lock lock(message_.lock());
    envelope.RecipientCursor = position;
    envelope.setRecipientMark(mark);
}

std::string OrvSendDialogue::addressAt(OrvCHEnvelope& envelope, std::size_t position) const {
    const Mt::Lock lock(message_.lock());
    envelope.RecipientCursor = position;
    return envelope.recipientAddress();
}

void OrvSendDialogue::replaceMarks(OrvCHEnvelope& envelope, char mark, char by) const {
    const Mt::Lock lock(message_.lock());
    for (std::size_t i = 0; i < envelope.Recipients.size(); ++i) {
        envelope.RecipientCursor = i;
        if (envelope.recipientMark() == mark) {
            envelope.setRecipientMark(by);
        }
    }
}
