#include "smtp/OrvSendDialogue.h"

#include "dbg/OrvDbg.h"
#include "mesg/OrvCHMesg.h"
#include "profile/OrvCHMesgCommon.h"

#include <cstdio>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvSendDialogue";

constexpr int kIdentityTries = 3;

struct ClientIdentity {
    SmtpAddrMode kind;
    const std::string* text;
    const char* trace;
};

// The first try prefers the host name, the second one the IPv4 address.
ClientIdentity identityOfTry(int number, const OrvIdentity& identity) {
    if (number == 1 && identity.DNSClientEnable && !identity.Hostname.empty()) {
        return {SmtpAddrMode::kHostName, &identity.Hostname, "hostname"};
    }
    if (number <= 2 && !identity.IPv4Address.empty()) {
        return {SmtpAddrMode::kIPv4, &identity.IPv4Address, "IPv4 addr"};
    }
    return {SmtpAddrMode::kIPv6, &identity.IPv6Address, "IPv6 addr"};
}

}  // namespace

OrvSendDialogue::OrvSendDialogue(OrvSMTPClient& client, const OrvCHMesgCommon& identity, OrvSendReporter& reporter,
                                 Server server, OrvCHMesg& message)
    : client_(client),
      identity_(identity),
      composer_(identity),
      reporter_(reporter),
      server_(std::move(server)),
      message_(message) {
    reporter_.makeRoomForEntries(1);  // about the end of it
}

int OrvSendDialogue::run() {
    const auto connect = [this] {
        return client_.connectServer(server_.address, server_.port, server_.kind) < 0 ? -1 : presentClient();
    };
    if (attempt(connect) < 0) {
        return endInFailure(false);
    }
    for (const auto& envelope : message_.Envelopes) {
        if (!envelope->Done && attempt([&] { return sendEnvelope(*envelope); }) < 0) {
            return endInFailure(true);
        }
    }
    tryTo([this] { client_.sendQuit(); });
    client_.disconnect();
    if (reporter_.isRetryPending()) {
        ORV_TRACE("Successful recovery of SMTP communications\n");
        reporter_.report(orv_log::kRecovered);
    }
    return 0;
}

// Up to three identities on the same connection; an IPv6 address is the last that there is.
int OrvSendDialogue::presentClient() {
    SmtpAddrMode kind = SmtpAddrMode::kHostName;
    for (int number = 1; number <= kIdentityTries && kind != SmtpAddrMode::kIPv6; ++number) {
        const char* trace = nullptr;
        {
            const OrvCHMesgCommon::Reader identity(identity_);
            const ClientIdentity choice = identityOfTry(number, *identity);
            kind = choice.kind;
            clientIdentity_ = *choice.text;
            trace = choice.trace;
        }
        ORV_TRACE("Send SMTP client identity as %s: %s\n", trace, clientIdentity_.c_str());
        if (client_.sendHello(clientIdentity_, kind) == 0) {
            return 0;
        }
        ORV_TRACE("Failed to send SMTP client identity: %s\n", client_.errorForTrace());
        if (!client_.connected()) {
            break;  // a further try would only hide why the connection was lost
        }
    }
    ORV_TRACE("No other connect retries possible!\n");
    return -1;
}

// Keeps what went wrong before QUIT can change it, and closes the connection.
int OrvSendDialogue::endInFailure(bool presented) {
    tryTo([this] {
        const bool thrown = exception_.front() != '\0';
        failure_ = {client_.errorName(), thrown ? exception_.data() : client_.errorText(), client_.lastReply()};
    });
    if (presented && client_.connected()) {
        tryTo([this] { client_.sendQuit(); });
    }
    client_.disconnect();
    reportCriticalFailure(reporter_);
    return -1;
}

void OrvSendDialogue::reportCriticalFailure(OrvSendReporter& reporter) {
    if (!reporter.isRetryPending()) {
        ORV_TRACE("Critical protocol failure with SMTP server\n");
        reporter.report(orv_log::kProtocolFailure);
    }
}

void OrvSendDialogue::noteException(const char* what) {
    traceException(what);
    std::snprintf(exception_.data(), exception_.size(), "%s", what);
}

void OrvSendDialogue::traceException(const char* what) {
    ORV_TRACE("%s\n", what);
}
