// The conforming dialogue, as RFC 5321 has it.
#include "base/OrvMutex.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "mesgq/OrvSendQueue.h"
#include "smtp/OrvConformingMail.h"
#include "smtp/OrvEnvelopeDialogue.h"
#include "smtp/OrvMailBuffer.h"
#include "smtp/OrvMailText.h"
#include "smtp/OrvReplyReader.h"
#include "smtp/OrvSMTPConnection.h"
#include "smtp/OrvSMTPDialogue.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

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

// An envelope's part: a mail that the server can take is offered, and what is refused about it is its recipients' fate.
//
// A refusal for good (5xx) gives a recipient up, one for now (4xx) puts it off. A server that is gone, that closes
// (421) or wants to know who we are first (530) has not judged the mail: then the dialogue has failed, and who was not
// refused stays as before. Marks are on flash as soon as they have changed: after a kill at most this mail comes once
// more.
class ConformingEnvelope final : private OrvEnvelopeDialogue {
public:
    ConformingEnvelope(const OrvSendParties& parties, const std::string& clientIdentity, OrvCHEnvelope& envelope)
        : OrvEnvelopeDialogue(parties, clientIdentity, envelope) {}

    // 0 when what this server can do is done, -1 when the dialogue has failed.
    [[nodiscard]] int run();

private:
    enum class Fate : char { kFinal, kOpen, kAccepted, kTaken, kPutOff, kGivenUp };

    bool begin();
    int converse();
    int deliver(OrvConformingMail& mail);
    int offerRecipients();
    int startAnew();
    int judge();
    void refuse(std::size_t position, const std::string& reply);
    void refuseRest(const std::string& reply);
    void settle();
    void report();
    void save() const;
    std::size_t count(Fate fate) const;
    std::size_t positionInMessage() const;

    std::vector<Fate> fates_;  // of the recipients, by position
};

int ConformingEnvelope::run() {
    traceBeginning();
    if (!begin()) {
        setDone();
        return 0;
    }
    const OrvAtEnd whateverBecomesOfIt([this] { settle(); });
    return converse();
}

// False when no recipient waits for the mail. Makes room for all that is set and said once the server has the text.
bool ConformingEnvelope::begin() {
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

int ConformingEnvelope::converse() {
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
int ConformingEnvelope::deliver(OrvConformingMail& mail) {
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

int ConformingEnvelope::offerRecipients() {
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
int ConformingEnvelope::startAnew() {
    return parties_.client.sendReset() < 0 ? -1 : 0;
}

// A step for the whole mail has failed. 0 when the server has refused the mail, -1 when it has not come to that.
int ConformingEnvelope::judge() {
    const OrvSMTPClient& client = parties_.client;
    // RFC 4954, section 6, and RFC 3207, section 4: no mail of ours would be taken.
    if (!client.refused() || client.lastReply().starts_with("530")) {
        return -1;
    }
    refuseRest(client.lastReply());
    return 0;
}

void ConformingEnvelope::refuse(std::size_t position, const std::string& reply) {
    refusals_[position] = reply;
    fates_[position] = reply.starts_with('4') ? Fate::kPutOff : Fate::kGivenUp;
}

void ConformingEnvelope::refuseRest(const std::string& reply) {
    for (std::size_t i = 0; i < fates_.size(); ++i) {
        if (fates_[i] == Fate::kOpen || fates_[i] == Fate::kAccepted) {
            refuse(i, reply);
        }
    }
}

// First of all whom the mail has reached: nothing that fails from here on may have them get it again.
void ConformingEnvelope::settle() {
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

void ConformingEnvelope::report() {
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
void ConformingEnvelope::save() const {
    orvTryTo([this] {
        const OrvCHMesg& message = parties_.message;
        const Mt::Lock lock(message.lock());
        if (!message.FileName.empty()) {
            static_cast<void>(message.save());  // traces why it failed
        }
    });
}

std::size_t ConformingEnvelope::count(Fate fate) const {
    return static_cast<std::size_t>(std::count(fates_.begin(), fates_.end(), fate));
}

std::size_t ConformingEnvelope::positionInMessage() const {
    const auto& envelopes = parties_.message.Envelopes;
    const auto at = std::find_if(envelopes.begin(), envelopes.end(),
                                 [this](const auto& envelope) { return envelope.get() == &envelope_; });
    return static_cast<std::size_t>(at - envelopes.begin());
}

// What stands behind a line's code, "250-" or "250 ".
void takeExtension(OrvSMTPSession& session, std::string_view line) {
    const std::string_view keyword = line.substr(0, line.find_first_of(" \r"));
    const auto is = [&](std::string_view name) {
        return keyword.size() == name.size() && strncasecmp(keyword.data(), name.data(), name.size()) == 0;
    };
    if (is("8BITMIME")) {
        session.eightBitTexts = true;
    } else if (is("SIZE")) {
        session.sizes = true;
        const std::string_view number = line.substr(std::min(line.size(), keyword.size() + 1));
        std::from_chars(number.data(), number.data() + number.size(), session.largestMail);
    }
}

class ConformingDialogue final : public OrvSMTPDialogue {
public:
    const char* name() const override { return "conforming"; }
    OrvSMTPReply awaitReply(OrvSMTPConnection& connection, OrvSMTPSession& session) const override;
    const char* objection(OrvSMTPConnection& connection, OrvSMTPSession& session) const override;
    void takeHello(OrvSMTPSession& session) const override;
    // No value within a line ever becomes a command of its own.
    std::string commandLine(const std::string& command) const override { return orvOneLine(command) + kOrvLineEnd; }
    // RFC 5321, section 4.5.2. A text ends with a line end already.
    void endText(std::string& text) const override { orvDoubleDots(text); }
    int sendEnvelope(const OrvSendParties& parties, const std::string& clientIdentity,
                     OrvCHEnvelope& envelope) const override {
        return ConformingEnvelope(parties, clientIdentity, envelope).run();
    }
    const char* nameInProbe() const override { return name(); }
    void tryAgain(OrvSendRetries& retries, OrvCHMesg& message) const override { retries.sendLater(message); }
    // With the marks that the dialogue has set.
    void giveBack(OrvSendQueue& queue, OrvCHMesg* message) const override { queue.postpone(message, 0); }
};

// Whoever says what is no reply, or closes (421, section 3.8), is told nothing more.
OrvSMTPReply ConformingDialogue::awaitReply(OrvSMTPConnection& connection, OrvSMTPSession& session) const {
    OrvReplyReader reader(session);
    if (!reader.read(connection)) {
        return {};
    }
    const char* const text = session.reply.data();
    const char first = reader.code().front();
    if (reader.whole() && first == session.wanted) {
        return {text, nullptr};
    }
    const bool refused = reader.whole() && (first == '4' || first == '5');
    if (!refused || reader.code() == "421") {
        connection.close();
    }
    return {text, refused ? "SMTP server error Response" : "SMTP server reply is not understood"};
}

const char* ConformingDialogue::objection(OrvSMTPConnection& connection, OrvSMTPSession& session) const {
    if (session.surplus[0] == '\0' && !connection.hasBytes()) {
        return nullptr;
    }
    if (session.surplus[0] == '\0' && connection.receive() == 0) {
        orvKeepSurplus(session, connection.receivedBytes());
    }
    connection.close();
    return "SMTP server spoke out of turn";
}

// Section 4.1.1.1: the first line greets, each further one names an extension.
void ConformingDialogue::takeHello(OrvSMTPSession& session) const {
    constexpr std::size_t kCode = 4;
    session.eightBitTexts = session.sizes = false;
    session.largestMail = 0;
    std::string_view lines = session.reply.data();
    for (std::size_t end = lines.find('\n'); end != lines.npos; end = lines.find('\n')) {
        lines.remove_prefix(end + 1);
        if (lines.size() > kCode) {
            takeExtension(session, lines.substr(kCode, lines.find('\n') - kCode));
        }
    }
}

}  // namespace

const OrvSMTPDialogue& orvConformingDialogue() {
    static constexpr ConformingDialogue kDialogue;
    return kDialogue;
}
