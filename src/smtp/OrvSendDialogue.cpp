#include "smtp/OrvSendDialogue.h"

#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesg/OrvCHMesg.h"
#include "profile/OrvCHMesgCommon.h"

#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvSendDialogue";

constexpr std::uint32_t kCriticalFailureId = 0x8b000012u;
constexpr std::uint32_t kRecoveryId = 0x8b000014u;

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
}

int OrvSendDialogue::run() {
    if (client_.connectServer(server_.address, server_.port, server_.kind) < 0 || presentClient() < 0) {
        return endInFailure(false);
    }
    for (const auto& envelope : message_.Envelopes) {
        if (!envelope->Done && sendEnvelope(*envelope) < 0) {
            return endInFailure(true);
        }
    }
    client_.sendQuit();
    client_.disconnect();
    if (reporter_.isRetryPending()) {
        ORV_TRACE("Successful recovery of SMTP communications\n");
        reporter_.logSend(kOrvLogCritical, kRecoveryId, "Successful recovery of SMTP communications");
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
        ORV_TRACE("Failed to send SMTP client identity: %s\n", client_.errorText().c_str());
        if (!client_.connected()) {
            break;  // a further try would only hide why the connection was lost
        }
    }
    ORV_TRACE("No other connect retries possible!\n");
    return -1;
}

// Keeps what went wrong before QUIT can change it, and closes the connection.
int OrvSendDialogue::endInFailure(bool presented) {
    failure_ = {client_.errorName(), client_.errorText(), client_.lastReply()};
    if (presented && client_.connected()) {
        client_.sendQuit();
    }
    client_.disconnect();
    if (!reporter_.isRetryPending()) {
        ORV_TRACE("Critical protocol failure with SMTP server\n");
        reporter_.logSend(kOrvLogCritical, kCriticalFailureId, "Critical protocol failure with SMTP server");
    }
    return -1;
}
