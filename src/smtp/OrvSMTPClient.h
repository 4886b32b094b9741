// The client side of SMTP, command by command.
//
// Each operation returns 0, or a negative number and leaves what went wrong in errorCode(), errorText() and, for a
// refusal, lastReply(). Every step but resolving a name has a time limit; whoever has let one pass is sent nothing
// more. What is a reply, and how commands and texts are written, is the dialogue's. Knows nothing of queues or
// profiles. Send thread only.
#pragma once

#include "smtp/OrvSMTPConnection.h"
#include "smtp/OrvSMTPDialogue.h"
#include "smtp/OrvSMTPSession.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

// How long each step may take, mostly as RFC 5321 advises in section 4.5.3.2.
struct OrvSMTPTimeouts {
    std::chrono::milliseconds connect = std::chrono::seconds(300);  // each address
    std::chrono::milliseconds greeting = std::chrono::seconds(300);
    std::chrono::milliseconds command = std::chrono::seconds(300);  // EHLO, HELO, MAIL, RCPT, RSET
    std::chrono::milliseconds data = std::chrono::seconds(120);     // DATA
    std::chrono::milliseconds text = std::chrono::seconds(180);     // each send of the text that makes no progress
    std::chrono::milliseconds dataEnd = std::chrono::seconds(600);
    // Not the standard's: nothing depends on the reply, and behind a text that was broken off none ever comes.
    std::chrono::milliseconds quit = std::chrono::seconds(5);
    // The same when the daemon ends, and what the mail server has taken is still to be put down.
    std::chrono::milliseconds quitInHaste = std::chrono::milliseconds(200);
};

class OrvSMTPClient {
public:
    explicit OrvSMTPClient(const OrvSMTPTimeouts& timeouts = {}, OrvSMTPSystem& system = OrvSMTPSystem::real(),
                           const OrvSMTPDialogue& dialogue = orvRequiredDialogue());

    const OrvSMTPDialogue& dialogue() const { return dialogue_; }
    const OrvSMTPSession& session() const { return session_; }
    // The server refused what was said last, and speaks on.
    bool refused() const { return error_.code == Error::kResponseError && connected(); }

    // Connects and reads the greeting. A host name's addresses are tried in the resolver's order.
    int connectServer(const std::string& address, std::uint32_t port, SmtpAddrMode kind);
    // EHLO, and HELO when EHLO was refused. A host name is presented in its canonical form.
    int sendHello(const std::string& identity, SmtpAddrMode kind);
    // Parameters with a blank before each.
    int sendMailFrom(const std::string& sender, const char* parameters = "") {
        return command("MAIL FROM:<" + sender + ">" + parameters, Error::kMailFromError, timeouts_.command);
    }
    int sendRcptTo(const std::string& recipient) {
        return command("RCPT TO:<" + recipient + ">", Error::kRcptToError, timeouts_.command);
    }
    int sendDataCmd() { return command("DATA", Error::kDataError, timeouts_.data, '3'); }
    // The text and its end. Reads no reply.
    int sendBody(std::string text);
    int sendDataEnd() { return command(".", Error::kDataEndError, timeouts_.dataEnd); }
    int sendReset() { return command("RSET", Error::kResetError, timeouts_.command); }
    // In haste if that is set, null: never; it is looked at once more when the reply does not come.
    int sendQuit(const std::atomic<bool>* inHaste = nullptr);
    void disconnect() { connection_.close(); }

    // The two primitives. recvResponse: -1 the connection failed, -2 the server refused.
    int recvResponse();
    int sendRequest(std::string_view request);

    std::int32_t errorCode() const { return error_.code; }
    const char* errorName() const { return error_.name(); }
    const std::string& errorText() const { return error_.text; }
    // The error's text, or its name where that says more: the text of a connection closed in order is "Success".
    const char* errorForTrace() const { return closedInOrder_ ? errorName() : errorText().c_str(); }
    const std::string& lastReply() const { return lastReply_; }
    bool connected() const { return connection_.connected(); }

private:
    using Error = OrvSMTPError;

    void startAfresh();
    int identityText(const std::string& identity, SmtpAddrMode kind, std::string& text);
    int canonicalName(const std::string& name, std::string& text);
    int command(const std::string& line, Error::Code sendError, std::chrono::milliseconds limit, char wanted = '2',
                const std::atomic<bool>* enough = nullptr);
    void takeRefusal(const OrvSMTPReply& reply);
    bool isInterrupted();
    int refuseToGoOn();
    int fail(Error::Code code, const std::string& text);

    const OrvSMTPTimeouts timeouts_;
    OrvSMTPSystem& system_;
    const OrvSMTPDialogue& dialogue_;
    OrvSMTPConnection connection_{system_};
    OrvSMTPSession session_;  // of this connection

    Error error_;
    bool closedInOrder_ = false;  // by the server, which is the error
    std::string lastReply_;
};
