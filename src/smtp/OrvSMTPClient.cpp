#include "smtp/OrvSMTPClient.h"

#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "smtp/OrvLineEnd.h"

#include <algorithm>
#include <cerrno>

namespace {

constexpr char kTraceModule[] = "OrvSMTPClient";
// A request up to this size that is too long for one message is not tried again.
constexpr std::size_t kShortRequest = 1024;

constexpr std::array<const char*, 14> kErrorNames{
    "Okay",
    "SMTP HELO Error",
    "SMTP MAIL FROM Error",
    "SMTP RCPT TO Error",
    "SMTP DATA Error",
    "SMTP DATA END Error",
    "SMTP RESPONSE Error",
    "SMTP RESET error",
    "DNS Hostname Resolve Error",
    "Set Network Address Error",
    "Socket Create Error",
    "Connect Error",
    "Socket Closed Error",
    "Write Started Error",
};

bool isPositive(char first) {
    return first == '2' || first == '3';
}

// How a limit that has passed shows.
bool isPassedLimit(int error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

// For everybody else a passed limit is a connection that timed out.
int connectionError(int error) {
    return isPassedLimit(error) ? ETIMEDOUT : error;
}

}  // namespace

OrvSMTPClient::OrvSMTPClient(const OrvSMTPTimeouts& timeouts, OrvSMTPSystem& system)
    : timeouts_(timeouts), system_(system) {
}

const char* OrvSMTPClient::errorName() const {
    return kErrorNames.at(static_cast<std::size_t>(errorCode_));
}

int OrvSMTPClient::sendHello(const std::string& identity, SmtpAddrMode kind) {
    startAfresh();
    std::string text;
    if (identityText(identity, kind, text) < 0) {
        return -1;
    }
    if (command("EHLO " + text, kHeloError, timeouts_.command) == 0) {
        return 0;
    }
    // Only an old server that knows no EHLO is asked again; one that has gone is not.
    if (errorCode_ != kResponseError) {
        return -1;
    }
    return command("HELO " + text, kHeloError, timeouts_.command) == 0 ? 0 : -1;
}

int OrvSMTPClient::sendMailFrom(const std::string& sender) {
    return command("MAIL FROM:<" + sender + ">", kMailFromError, timeouts_.command);
}

int OrvSMTPClient::sendRcptTo(const std::string& recipient) {
    return command("RCPT TO:<" + recipient + ">", kRcptToError, timeouts_.command);
}

int OrvSMTPClient::sendDataCmd() {
    return command("DATA", kDataError, timeouts_.data);
}

int OrvSMTPClient::sendBody(std::string text) {
    if (limitPassed_) {
        return refuseToGoOn();
    }
    text += kOrvLineEnd;
    limitSteps(timeouts_.text);
    if (sendRequest(text) < 0) {
        errorCode_ = kDataError;
        return -1;
    }
    return 0;
}

int OrvSMTPClient::sendDataEnd() {
    return command(".", kDataEndError, timeouts_.dataEnd);
}

int OrvSMTPClient::sendReset() {
    return command("RSET", kResetError, timeouts_.command);
}

int OrvSMTPClient::sendQuit() {
    return command("QUIT", kSocketClosedError, timeouts_.quit);
}

// Sends one command line and reads its reply. 0 or negative.
int OrvSMTPClient::command(const std::string& line, ErrorCode sendError, std::chrono::milliseconds limit) {
    if (limitPassed_) {
        return refuseToGoOn();
    }
    limitSteps(limit);
    if (sendRequest(line + kOrvLineEnd) < 0) {
        errorCode_ = sendError;
        return -1;
    }
    return recvResponse();
}

int OrvSMTPClient::sendRequest(std::string_view request) {
    orvTraceParts(kTraceModule, __func__, "SMTP Send (incl CRLF) {", request, "}\n");
    std::size_t length = request.size();
    while (!request.empty()) {
        errno = ENOTCONN;
        const ssize_t sent = socket_ ? system_.send(socket_.get(), request.data(), request.size()) : -1;
        const int error = errno;
        ORV_TRACE("SMTP bytes sent = %d of %u\n", static_cast<int>(sent), static_cast<unsigned>(request.size()));
        if (sent >= 0) {
            request.remove_prefix(std::min(static_cast<std::size_t>(sent), request.size()));
        } else if (error == EMSGSIZE && length > kShortRequest) {
            length = kShortRequest;  // Kept: the whole remainder is tried once more, not a shorter piece.
        } else if (error != EINTR) {
            connected_ = connected_ && error == EMSGSIZE;
            limitPassed_ = isPassedLimit(error);
            errorText_ = orvErrorText(connectionError(error));
            return -1;
        }
    }
    return 0;
}

int OrvSMTPClient::recvResponse() {
    if (!socket_) {
        return connectionLost(ENOTCONN);
    }
    ssize_t got = -1;
    do {
        errno = 0;  // a connection closed in order has no error: its text is then the one for success
        got = system_.receive(socket_.get(), reply_.data(), kReplySize);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) {
        const int error = errno;
        limitPassed_ = isPassedLimit(error);
        return connectionLost(connectionError(error));
    }
    reply_[static_cast<std::size_t>(got)] = '\0';
    ORV_TRACE("SMTP StatusSMTPResponse (incl CRLF) {%s}\n", reply_.data());
    // Needs no memory: without it, a mail that the server has just taken would be sent again.
    if (isPositive(reply_.front())) {
        reply_.fill('\0');
        return 0;
    }
    std::string_view text = reply_.data();
    if (text.ends_with(kOrvLineEnd)) {
        text.remove_suffix(2);
    }
    lastReply_ = text;
    fail(kResponseError, "SMTP server error Response");
    return -2;
}

// Whoever did not answer in time, or did not read, would only hold up the thread once more.
int OrvSMTPClient::refuseToGoOn() {
    return fail(kSocketClosedError, orvErrorText(ETIMEDOUT));
}

int OrvSMTPClient::connectionLost(int error) {
    if (connected_) {
        connected_ = false;
        fail(kSocketClosedError, orvErrorText(error));
        closedInOrder_ = error == 0;
    }
    return -1;
}

void OrvSMTPClient::startAfresh() {
    errorCode_ = kOkay;
    closedInOrder_ = false;
    lastReply_.clear();
    errorText_.clear();
}

int OrvSMTPClient::fail(ErrorCode code, const std::string& text) {
    errorCode_ = code;
    closedInOrder_ = false;
    errorText_ = text;
    return -1;
}

void OrvSMTPClient::limitSteps(std::chrono::milliseconds limit) {
    if (limit == limit_ || !socket_) {
        return;
    }
    limit_ = limit;
    system_.limitSteps(socket_.get(), limit);
}
