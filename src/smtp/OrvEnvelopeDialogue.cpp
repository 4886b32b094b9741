#include "smtp/OrvEnvelopeDialogue.h"

#include "base/OrvMutex.h"
#include "dbg/OrvDbg.h"
#include "profile/OrvCHMesgCommon.h"

#include <cstdio>

namespace {

constexpr char kTraceModule[] = "OrvSendDialogue";  // whose part this is

}  // namespace

void orvTraceException(const char* what) {
    orvTrace(kTraceModule, "traceException", "%s\n", what);
}

void OrvEnvelopeDialogue::traceBeginning() const {
    orvTrace(kTraceModule, "sendEnvelope", "Processing envelope[%s]\n", envelope_.ProfileName.c_str());
}

std::string OrvEnvelopeDialogue::senderAddress() const {
    const OrvCHMesgCommon::Reader identity(parties_.identity);
    return identity->From;
}

void OrvEnvelopeDialogue::reportNobodyAccepted() {
    parties_.reporter.report(orv_log::kNoRecipientAccepted, parties_.server.Address.c_str(),
                             parties_.server.shownPort(), envelope_.ProfileName.c_str());
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

void OrvEnvelopeDialogue::setDone() {
    const Mt::Lock lock(parties_.message.lock());
    changing_.Done = true;
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
