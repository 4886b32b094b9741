#include "mesgq/OrvSendQueue.h"
#include "smtp/OrvMailBuffer.h"
#include "smtp/OrvRequiredEnvelope.h"
#include "smtp/OrvSMTPConnection.h"
#include "smtp/OrvSMTPDialogue.h"

namespace {

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
        return OrvRequiredEnvelope(parties, clientIdentity, envelope).run();
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
