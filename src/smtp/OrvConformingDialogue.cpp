#include "mesgq/OrvSendQueue.h"
#include "smtp/OrvConformingEnvelope.h"
#include "smtp/OrvMailBuffer.h"
#include "smtp/OrvMailText.h"
#include "smtp/OrvReplyReader.h"
#include "smtp/OrvSMTPConnection.h"
#include "smtp/OrvSMTPDialogue.h"

#include <strings.h>

#include <algorithm>
#include <charconv>

namespace {

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
        return OrvConformingEnvelope(parties, clientIdentity, envelope).run();
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
