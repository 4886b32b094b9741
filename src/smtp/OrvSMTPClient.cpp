#include "smtp/OrvSMTPClient.h"

#include "base/OrvText.h"
#include "dbg/OrvDbg.h"

#include <algorithm>
#include <cerrno>

namespace {

constexpr char kTraceModule[] = "OrvSMTPClient";
constexpr char kCrLf[] = "\r\n";
// A request up to this size that is too long for one message is not tried again.
constexpr std::size_t kShortRequest = 1024;

}  // namespace

OrvSMTPClient::OrvSMTPClient(const OrvSMTPTimeouts& timeouts, OrvSMTPSystem& system, const OrvSMTPDialogue& dialogue)
    : timeouts_(timeouts), system_(system), dialogue_(dialogue) {
}

int OrvSMTPClient::connectServer(const std::string& address, std::uint32_t port, SmtpAddrMode kind) {
    startAfresh();
    session_ = {};
    if (connection_.connect(address, port, kind, timeouts_.connect, error_) < 0) {
        return -1;
    }
    connection_.limitSteps(timeouts_.greeting);
    return recvResponse();
}

int OrvSMTPClient::sendHello(const std::string& identity, SmtpAddrMode kind) {
    startAfresh();
    std::string text;
    if (identityText(identity, kind, text) < 0) {
        return -1;
    }
    if (command("EHLO " + text, Error::kHeloError, timeouts_.command) == 0) {
        dialogue_.takeHello(session_);
        return 0;
    }
    // Only an old server that knows no EHLO is asked again; one that has gone is not.
    if (error_.code != Error::kResponseError || !connected()) {
        return -1;
    }
    return command("HELO " + text, Error::kHeloError, timeouts_.command) == 0 ? 0 : -1;
}

int OrvSMTPClient::identityText(const std::string& identity, SmtpAddrMode kind, std::string& text) {
    switch (kind) {
        case SmtpAddrMode::kIPv4:
            text = "[" + identity + "]";
            return 0;
        case SmtpAddrMode::kIPv6:
            text = "[IPv6:" + identity + "]";
            return 0;
        case SmtpAddrMode::kHostName:
            return canonicalName(identity, text);
        default:
            text.clear();
            return 0;
    }
}

int OrvSMTPClient::canonicalName(const std::string& name, std::string& text) {
    OrvSMTPSystem::AddressList list(nullptr, {&system_});
    if (const int error = system_.lookUp(name, AI_CANONNAME, list); error != 0) {
        return fail(Error::kResolveError, gai_strerror(error));
    }
    const bool known = list != nullptr && list->ai_canonname != nullptr;
    text = known ? list->ai_canonname : name;
    return 0;
}

int OrvSMTPClient::sendBody(std::string text) {
    if (connection_.limitPassed()) {
        return refuseToGoOn();
    }
    if (isInterrupted()) {
        return -1;
    }
    dialogue_.endText(text);
    connection_.limitSteps(timeouts_.text);
    if (sendRequest(text) < 0) {
        error_.code = Error::kDataError;
        return -1;
    }
    return 0;
}

int OrvSMTPClient::sendQuit(const std::atomic<bool>* inHaste) {
    const auto limit = inHaste != nullptr && *inHaste ? timeouts_.quitInHaste : timeouts_.quit;
    return command("QUIT", Error::kSocketClosedError, limit, '2', inHaste);
}

// Sends one command line and reads its reply. 0 or negative.
int OrvSMTPClient::command(const std::string& line, Error::Code sendError, std::chrono::milliseconds limit, char wanted,
                           const std::atomic<bool>* enough) {
    if (connection_.limitPassed()) {
        return refuseToGoOn();
    }
    if (isInterrupted()) {
        return -1;
    }
    connection_.limitSteps(limit, enough);
    session_.wanted = wanted;
    if (sendRequest(dialogue_.commandLine(line)) < 0) {
        error_.code = sendError;
        return -1;
    }
    return recvResponse();
}

int OrvSMTPClient::sendRequest(std::string_view request) {
    orvTraceParts(kTraceModule, __func__, {"SMTP Send (incl CRLF) {", request, "}\n"});
    std::size_t length = request.size();
    while (!request.empty()) {
        const ssize_t sent = connection_.send(request);
        const int error = errno;
        ORV_TRACE("SMTP bytes sent = %d of %u\n", static_cast<int>(sent), static_cast<unsigned>(request.size()));
        if (sent >= 0) {
            request.remove_prefix(std::min(static_cast<std::size_t>(sent), request.size()));
        } else if (error == EMSGSIZE && length > kShortRequest) {
            length = kShortRequest;  // Kept: the whole remainder is tried once more, not a shorter piece.
        } else if (error != EINTR) {
            error_.text = orvErrorText(error);
            return -1;
        }
    }
    return 0;
}

int OrvSMTPClient::recvResponse() {
    const bool wasConnected = connected();
    const OrvSMTPReply reply = dialogue_.awaitReply(connection_, session_);
    if (reply.text == nullptr) {
        if (const int error = errno; wasConnected) {
            fail(Error::kSocketClosedError, orvErrorText(error));
            closedInOrder_ = error == 0;
        }
        return -1;
    }
    ORV_TRACE("SMTP StatusSMTPResponse (incl CRLF) {%s}\n", reply.text);
    if (reply.fault == nullptr) {
        return 0;
    }
    takeRefusal(reply);
    return -2;
}

void OrvSMTPClient::takeRefusal(const OrvSMTPReply& reply) {
    std::string_view text = reply.text;
    if (text.ends_with(kCrLf)) {
        text.remove_suffix(2);
    }
    lastReply_ = text;
    fail(Error::kResponseError, reply.fault);
}

// The server has said something although it was not its turn.
bool OrvSMTPClient::isInterrupted() {
    const char* const objection = dialogue_.objection(connection_, session_);
    if (objection != nullptr) {
        ORV_TRACE("%s {%s}\n", objection, session_.surplus.data());
        takeRefusal({session_.surplus.data(), objection});
    }
    return objection != nullptr;
}

// Whoever did not answer in time, or did not read, would only hold up the thread once more.
int OrvSMTPClient::refuseToGoOn() {
    return fail(Error::kSocketClosedError, orvErrorText(ETIMEDOUT));
}

void OrvSMTPClient::startAfresh() {
    error_.code = Error::kOkay;
    error_.text.clear();
    closedInOrder_ = false;
    lastReply_.clear();
}

int OrvSMTPClient::fail(Error::Code code, const std::string& text) {
    error_.code = code;
    closedInOrder_ = false;
    error_.text = text;
    return -1;
}
