// One dialogue with a mail server about one message: what is said next, and what each reply means.
//
// Sets the recipients' marks as it goes. Rules: docs/behaviour.md, "The dialogue" and "Recipients".
#pragma once

#include "box/model/Mail.h"

#include <string>
#include <vector>

namespace model {

class Dialogue {
public:
    // retrying: whether a send before this one has failed; read when the dialogue ends.
    Dialogue(Message& message, const Server& server, const Identity& identity, const bool& retrying, Outside& outside);

    const WireStep& step() const { return step_; }
    bool over() const { return step_.kind == WireStep::kNothing; }

    // What became of the step. The reply is what one receive gives.
    void connected();
    void connectFailed(const std::string& reason, const std::string& description);
    void replied(const std::string& reply);
    void closed(const std::string& description);
    void silent();  // for as long as the step's limit

    const Server& server() const { return server_; }
    bool failed() const { return failed_; }
    const std::string& reason() const { return reason_; }
    const std::string& description() const { return description_; }
    const std::string& response() const { return response_; }

private:
    enum class Stage { kConnect, kGreeting, kExtended, kHello, kFrom, kRecipient, kData, kText, kReset, kQuit };

    void speak(Stage stage, std::string bytes, unsigned limit = 300);
    void accepted();
    void refused();
    void lost(const std::string& description);

    void nextIdentity();
    void nextEnvelope();
    void nextRecipient();
    void endOfRecipients();
    void recipientRefused(const std::string& reply);
    void closeEnvelope();
    void reportRefusal(const std::string& recipient, std::uint32_t number, const char* outcome, std::string& reply);
    void takeBackMarks();
    void fail();
    void end();

    Envelope& envelope() { return message_.envelopes[envelope_]; }
    void tell(int level, std::uint32_t number, const std::string& text);

    Message& message_;
    const Server server_;
    const Identity& identity_;
    const bool& retrying_;
    Outside& outside_;

    Stage stage_ = Stage::kConnect;
    WireStep step_;
    bool connected_ = false;
    bool introduced_ = false;
    bool failed_ = false;
    unsigned tries_ = 0;
    bool lastTry_ = false;
    std::string switchAddress_;  // as it was given to the server, and stands in the mail
    std::string greeting_;       // the same in the form of the greeting
    std::size_t envelope_ = 0, recipient_ = 0, taken_ = 0;
    char markBefore_ = kUnmarked;
    std::vector<std::string> refusals_;  // of this envelope, by recipient; empty: none in this dialogue
    std::string reason_ = "Okay", description_, response_;
};

}  // namespace model
