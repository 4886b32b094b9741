#include "smtp/OrvConformingEnvelope.h"

#include "base/OrvAtEnd.h"
#include "base/OrvMutex.h"
#include "base/OrvText.h"
#include "smtp/OrvConformingMail.h"

#include <algorithm>
#include <utility>

namespace {

// Its parameters as RFC 1870 and RFC 6152 have them, for a server that offers these.
std::string mailParameters(const OrvConformingMail& mail, const OrvSMTPSession& server) {
    std::string parameters;
    if (server.sizes) {
        parameters += " SIZE=" + std::to_string(mail.text.size());
    }
    if (mail.eightBit) {
        parameters += " BODY=8BITMIME";
    }
    return parameters;
}

}  // namespace

int OrvConformingEnvelope::run() {
    traceBeginning();
    if (!begin()) {
        setDone();
        return 0;
    }
    const OrvAtEnd whateverBecomesOfIt([this] { settle(); });
    return converse();
}

// False when no recipient waits for the mail. Makes room for all that is set and said once the server has the text.
bool OrvConformingEnvelope::begin() {
    const std::size_t recipients = envelope_.Recipients.size();
    refusals_.assign(recipients, "");
    fates_.assign(recipients, Fate::kOpen);
    makeRoomForMarks();
    for (std::size_t i = 0; i < recipients; ++i) {
        if (const char mark = markAt(i); mark == Envelope::kDelivered || mark == Envelope::kGivenUp) {
            fates_[i] = Fate::kFinal;
        }
    }
    parties_.reporter.makeRoomForEntries(kEntriesARefusal * count(Fate::kOpen) + 1);
    return count(Fate::kOpen) != 0;
}

int OrvConformingEnvelope::converse() {
    const OrvSMTPSession& server = parties_.client.session();
    OrvConformingMail mail;
    const OrvConformingMail::Source source{parties_.identity, parties_.message, envelope_, clientIdentity_,
                                           positionInMessage()};
    if (mail.compose(source, server.eightBitTexts) < 0) {
        refuseRest("no mail can be made of it");
        return 0;
    }
    if (server.largestMail != 0 && mail.text.size() > server.largestMail) {
        refuseRest(orvFormat("mail of %llu bytes, the server takes %llu",
                             static_cast<unsigned long long>(mail.text.size()),
                             static_cast<unsigned long long>(server.largestMail)));
        return 0;
    }
    return deliver(mail);
}

// RFC 5321, section 3.3.
int OrvConformingEnvelope::deliver(OrvConformingMail& mail) {
    OrvSMTPClient& client = parties_.client;
    if (client.sendMailFrom(senderAddress(), mailParameters(mail, client.session()).c_str()) < 0) {
        return judge();
    }
    if (offerRecipients() < 0) {
        return -1;
    }
    if (count(Fate::kAccepted) == 0) {
        return startAnew();
    }
    if (client.sendDataCmd() < 0) {
        return judge() < 0 ? -1 : startAnew();
    }
    if (client.sendBody(std::move(mail.text)) < 0) {
        return -1;
    }
    if (client.sendDataEnd() < 0) {
        return judge();
    }
    std::replace(fates_.begin(), fates_.end(), Fate::kAccepted, Fate::kTaken);
    return 0;
}

int OrvConformingEnvelope::offerRecipients() {
    OrvSMTPClient& client = parties_.client;
    for (std::size_t i = 0; i < fates_.size(); ++i) {
        if (fates_[i] != Fate::kOpen) {
            continue;
        }
        if (client.sendRcptTo(addressAt(i)) == 0) {
            fates_[i] = Fate::kAccepted;
        } else if (!client.refused() || client.lastReply().starts_with("530")) {
            return -1;
        } else {
            refuse(i, client.lastReply());
        }
    }
    return 0;
}

// So that the next envelope is none of this one's recipients. A server that cannot forget is of no use.
int OrvConformingEnvelope::startAnew() {
    return parties_.client.sendReset() < 0 ? -1 : 0;
}

// A step for the whole mail has failed. 0 when the server has refused the mail, -1 when it has not come to that.
int OrvConformingEnvelope::judge() {
    const OrvSMTPClient& client = parties_.client;
    // RFC 4954, section 6, and RFC 3207, section 4: no mail of ours would be taken.
    if (!client.refused() || client.lastReply().starts_with("530")) {
        return -1;
    }
    refuseRest(client.lastReply());
    return 0;
}

void OrvConformingEnvelope::refuse(std::size_t position, const std::string& reply) {
    refusals_[position] = reply;
    fates_[position] = reply.starts_with('4') ? Fate::kPutOff : Fate::kGivenUp;
}

void OrvConformingEnvelope::refuseRest(const std::string& reply) {
    for (std::size_t i = 0; i < fates_.size(); ++i) {
        if (fates_[i] == Fate::kOpen || fates_[i] == Fate::kAccepted) {
            refuse(i, reply);
        }
    }
}

// First of all whom the mail has reached: nothing that fails from here on may have them get it again.
void OrvConformingEnvelope::settle() {
    constexpr std::pair<Fate, char> kMarks[] = {{Fate::kTaken, Envelope::kDelivered},
                                                {Fate::kGivenUp, Envelope::kGivenUp},
                                                {Fate::kPutOff, Envelope::kRefusedOnce}};
    for (const auto& [fate, mark] : kMarks) {
        for (std::size_t i = 0; i < fates_.size(); ++i) {
            if (fates_[i] == fate) {
                setMark(i, mark);
            }
        }
    }
    const std::size_t waiting = count(Fate::kOpen) + count(Fate::kAccepted) + count(Fate::kPutOff);
    if (waiting == 0) {
        setDone();
    }
    if (count(Fate::kTaken) + count(Fate::kGivenUp) + count(Fate::kPutOff) != 0) {
        save();
        report();
    }
}

void OrvConformingEnvelope::report() {
    if (count(Fate::kGivenUp) == fates_.size()) {
        reportNobodyAccepted();
    }
    for (std::size_t i = 0; i < fates_.size(); ++i) {
        if (fates_[i] == Fate::kPutOff) {
            reportRecipient(orv_log::kRecipientRetry, i);
        } else if (fates_[i] == Fate::kGivenUp) {
            reportRecipient(orv_log::kRecipientGivenUp, i);
        }
    }
}

// A test's message has no file.
void OrvConformingEnvelope::save() const {
    orvTryTo([this] {
        const OrvCHMesg& message = parties_.message;
        const Mt::Lock lock(message.lock());
        if (!message.FileName.empty()) {
            static_cast<void>(message.save());  // traces why it failed
        }
    });
}

std::size_t OrvConformingEnvelope::count(Fate fate) const {
    return static_cast<std::size_t>(std::count(fates_.begin(), fates_.end(), fate));
}

std::size_t OrvConformingEnvelope::positionInMessage() const {
    const auto& envelopes = parties_.message.Envelopes;
    const auto at = std::find_if(envelopes.begin(), envelopes.end(),
                                 [this](const auto& envelope) { return envelope.get() == &envelope_; });
    return static_cast<std::size_t>(at - envelopes.begin());
}
