// The client side of SMTP over one TCP connection, command by command.
//
// Each operation returns 0, or a negative number and leaves what went wrong in errorCode(), errorText() and, for a
// refusal, lastReply(). Every step but resolving a name has a time limit; one that passes acts like a lost connection,
// and whoever has let it pass is sent nothing more.
// One receive is made per reply, and only its first character is judged: a reply that comes in pieces answers later
// commands as well. Knows nothing of queues or profiles. Send thread only.
#pragma once

#include "Descriptor.h"
#include "smtp/OrvSMTPSystem.h"
#include "smtp/SmtpAddrMode.h"

#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
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
};

class OrvSMTPClient {
public:
    enum ErrorCode : std::int32_t {
        kOkay = 0,
        kHeloError = 1,
        kMailFromError = 2,
        kRcptToError = 3,
        kDataError = 4,
        kDataEndError = 5,
        kResponseError = 6,
        kResetError = 7,
        kResolveError = 8,
        kSetAddressError = 9,
        kSocketCreateError = 10,
        kConnectError = 11,
        kSocketClosedError = 12,
        kWriteStartedError = 13  // never set
    };

    explicit OrvSMTPClient(const OrvSMTPTimeouts& timeouts = {}, OrvSMTPSystem& system = OrvSMTPSystem::real());
    OrvSMTPClient(const OrvSMTPClient&) = delete;
    OrvSMTPClient& operator=(const OrvSMTPClient&) = delete;

    // Connects and reads the greeting. A host name's addresses are tried in the resolver's order.
    int connectServer(const std::string& address, std::uint32_t port, SmtpAddrMode kind);
    // EHLO, and HELO when EHLO was refused. A host name is presented in its canonical form.
    int sendHello(const std::string& identity, SmtpAddrMode kind);
    int sendMailFrom(const std::string& sender);
    int sendRcptTo(const std::string& recipient);
    int sendDataCmd();
    // The text and one line end, exactly as composed: no dot is doubled and no line is wrapped. Reads no reply.
    int sendBody(std::string text);
    int sendDataEnd();
    int sendReset();
    int sendQuit();
    void disconnect();

    // The two primitives. recvResponse: -1 the connection failed, -2 the server refused.
    int recvResponse();
    int sendRequest(std::string_view request);

    std::int32_t errorCode() const { return errorCode_; }
    const char* errorName() const;
    const std::string& errorText() const { return errorText_; }
    // The error's text, or its name where that says more: the text of a connection closed in order is "Success".
    const char* errorForTrace() const { return closedInOrder_ ? errorName() : errorText_.c_str(); }
    const std::string& lastReply() const { return lastReply_; }
    bool connected() const { return connected_; }

private:
    static constexpr std::size_t kReplySize = 1024;

    // A resolved name's addresses, given back to the system that found them.
    struct ListFreer {
        OrvSMTPSystem* system;
        void operator()(addrinfo* list) const { system->freeList(list); }
    };
    using AddressList = std::unique_ptr<addrinfo, ListFreer>;

    void startAfresh();
    int resolve(const std::string& name, int flags, AddressList& list);
    int connectByName(const std::string& name, std::uint32_t port);
    int setLiteral(const std::string& address, SmtpAddrMode kind);
    void tryConnect(std::uint32_t port);
    int openConnection(socklen_t length);
    int awaitConnection();
    int identityText(const std::string& identity, SmtpAddrMode kind, std::string& text);
    int canonicalName(const std::string& name, std::string& text);
    int command(const std::string& line, ErrorCode sendError, std::chrono::milliseconds limit);
    void limitSteps(std::chrono::milliseconds limit);
    int refuseToGoOn();
    int connectionLost(int error);
    int fail(ErrorCode code, const std::string& text);

    const OrvSMTPTimeouts timeouts_;
    OrvSMTPSystem& system_;

    Descriptor socket_;
    sockaddr_storage server_{};
    std::chrono::milliseconds limit_{0};  // that is set on the socket
    std::array<char, kReplySize + 1> reply_{};
    bool connected_ = false;
    bool limitPassed_ = false;    // on this connection
    bool closedInOrder_ = false;  // by the server, which is the error
    std::int32_t errorCode_ = kOkay;
    std::string lastReply_;
    std::string errorText_;
};
