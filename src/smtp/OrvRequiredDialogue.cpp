#include "smtp/OrvRequiredEnvelope.h"
#include "smtp/OrvSMTPConnection.h"
#include "smtp/OrvSMTPDialogue.h"

namespace {

constexpr char kCrLf[] = "\r\n";

class RequiredDialogue final : public OrvSMTPDialogue {
public:
    // Needs no memory: without it, a mail that the server has just taken would be sent again.
    OrvSMTPReply awaitReply(OrvSMTPConnection& connection, OrvSMTPSession& /*session*/) const override {
        if (connection.receive() < 0) {
            return {};
        }
        const char* const text = connection.received();
        const bool agrees = *text == '2' || *text == '3';
        return {text, agrees ? nullptr : "SMTP server error Response"};
    }
    std::string commandLine(const std::string& command) const override { return command + kCrLf; }
    // Kept: no dot is doubled and no line is wrapped.
    void endText(std::string& text) const override { text += kCrLf; }
    int sendEnvelope(const OrvSendParties& parties, const std::string& clientIdentity,
                     OrvCHEnvelope& envelope) const override {
        return OrvRequiredEnvelope(parties, clientIdentity, envelope).run();
    }
    void tryAgain(OrvSendRetries& retries, OrvCHMesg& message) const override { retries.sendAgain(message); }
};

}  // namespace

const OrvSMTPDialogue& orvRequiredDialogue() {
    static constexpr RequiredDialogue kDialogue;
    return kDialogue;
}
