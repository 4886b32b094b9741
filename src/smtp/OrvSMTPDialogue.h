// How SMTP is spoken: what counts as a reply, how commands and texts are written, how an envelope is delivered, and
// what becomes of a message whose recipients are put off.
//
// A way to speak is a constant without state, which a daemon keeps to for its whole life; what is learnt of a server
// stands in the session. The client is told which one it is and never asks.
#pragma once

#include "smtp/OrvSMTPSession.h"

#include <string>
#include <string_view>

class OrvCHMesg;
class OrvSMTPConnection;
class OrvSendQueue;
struct OrvCHEnvelope;
struct OrvSendParties;

// What can be done about recipients that are due for another try. Main thread.
class OrvSendRetries {
public:
    // At once, on the other server if there is one.
    virtual void sendAgain(OrvCHMesg& message) = 0;
    // Later, after a delay that grows with every time, while other messages go on.
    virtual void sendLater(OrvCHMesg& message) = 0;

protected:
    ~OrvSendRetries() = default;
};

class OrvSMTPDialogue {
public:
    virtual const char* name() const = 0;

    // --- Send thread.

    // Waits for the reply to what was said last.
    virtual OrvSMTPReply awaitReply(OrvSMTPConnection& connection, OrvSMTPSession& session) const = 0;
    // Nothing has come since the last reply, so that something can be said. Else what the operator is told, and the
    // connection is closed; what came stands in the session.
    virtual const char* objection(OrvSMTPConnection& connection, OrvSMTPSession& session) const = 0;
    // EHLO was agreed to.
    virtual void takeHello(OrvSMTPSession& session) const = 0;
    // A command as it goes out, with its line end.
    virtual std::string commandLine(const std::string& command) const = 0;
    // Ends a composed text, so that the line of one dot may follow.
    virtual void endText(std::string& text) const = 0;
    // An envelope's part of a dialogue. 0 when every recipient's state is settled, -1 when the dialogue has failed.
    [[nodiscard]] virtual int sendEnvelope(const OrvSendParties& parties, const std::string& clientIdentity,
                                           OrvCHEnvelope& envelope) const = 0;

    // --- Main thread.

    // What a probe calls it by; null: nothing is said of it.
    virtual const char* nameInProbe() const = 0;
    // A dialogue went to its end, and some recipients were put off.
    virtual void tryAgain(OrvSendRetries& retries, OrvCHMesg& message) const = 0;
    // A dialogue has failed: the queue gets the message back.
    virtual void giveBack(OrvSendQueue& queue, OrvCHMesg* message) const = 0;

protected:
    ~OrvSMTPDialogue() = default;
};

// One receive is a reply, of which the first character is judged; texts go out as composed; any refusal but a
// recipient's ends the dialogue; who is put off is tried once more, at once.
const OrvSMTPDialogue& orvRequiredDialogue();
// As RFC 5321 has it. What a server refuses about a mail is that mail's fate; who is put off is tried again for as long
// as the queue keeps the message.
const OrvSMTPDialogue& orvConformingDialogue();
// The one of that name; null: there is none.
const OrvSMTPDialogue* orvDialogueNamed(std::string_view name);
