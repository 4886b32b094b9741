#include "smtp/OrvSendDialogue.h"

#include "dbg/OrvDbg.h"
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
                                 OrvMailServer server, OrvCHMesg& message)
    : parties_{client, identity, reporter, std::move(server), message} {
    reporter.makeRoomForEntries(1);  // about the end of it
}

int OrvSendDialogue::run() {
    OrvSMTPClient& client = parties_.client;
    const OrvMailServer& server = parties_.server;
    const auto connect = [&] {
        return client.connectServer(server.Address, server.Port, server.Kind) < 0 ? -1 : presentClient();
    };
    if (attempt(connect) < 0) {
        return endInFailure(false);
    }
    if (attempt([this] { return sendEnvelopes(); }) < 0) {
        return endInFailure(true);
    }
    sayGoodbye();
    client.disconnect();
    if (parties_.reporter.isRetryPending()) {
        ORV_TRACE("Successful recovery of SMTP communications\n");
        parties_.reporter.report(orv_log::kRecovered);
    }
    return 0;
}

int OrvSendDialogue::sendEnvelopes() {
    const OrvSMTPDialogue& dialogue = parties_.client.dialogue();
    for (const auto& envelope : parties_.message.Envelopes) {
        if (!envelope->Done && dialogue.sendEnvelope(parties_, clientIdentity_, *envelope) < 0) {
            return -1;
        }
    }
    return 0;
}

// Up to three identities on the same connection; an IPv6 address is the last that there is.
int OrvSendDialogue::presentClient() {
    SmtpAddrMode kind = SmtpAddrMode::kHostName;
    for (int number = 1; number <= kIdentityTries && kind != SmtpAddrMode::kIPv6; ++number) {
        const char* trace = nullptr;
        {
            const OrvCHMesgCommon::Reader identity(parties_.identity);
            const ClientIdentity choice = identityOfTry(number, *identity);
            kind = choice.kind;
            clientIdentity_ = *choice.text;
            trace = choice.trace;
        }
        ORV_TRACE("Send SMTP client identity as %s: %s\n", trace, clientIdentity_.c_str());
        if (parties_.client.sendHello(clientIdentity_, kind) == 0) {
            return 0;
        }
        ORV_TRACE("Failed to send SMTP client identity: %s\n", parties_.client.errorForTrace());
        if (!parties_.client.connected()) {
            break;  // a further try would only hide why the connection was lost
        }
    }
    ORV_TRACE("No other connect retries possible!\n");
    return -1;
}

// What comes of it matters to nobody.
void OrvSendDialogue::sayGoodbye() {
    orvTryTo([this] { parties_.client.sendQuit(&parties_.reporter.stopping()); });
}

// Keeps what went wrong before QUIT can change it, and closes the connection.
int OrvSendDialogue::endInFailure(bool presented) {
    orvTryTo([this] {
        const bool thrown = exception_.front() != '\0';
        failure_ = {parties_.client.errorName(), thrown ? exception_.data() : parties_.client.errorText(),
                    parties_.client.lastReply()};
    });
    if (presented && parties_.client.connected()) {
        sayGoodbye();
    }
    parties_.client.disconnect();
    reportCriticalFailure(parties_.reporter);
    return -1;
}

void OrvSendDialogue::reportCriticalFailure(OrvSendReporter& reporter) {
    if (!reporter.isRetryPending()) {
        ORV_TRACE("Critical protocol failure with SMTP server\n");
        reporter.report(orv_log::kProtocolFailure);
    }
}

void OrvSendDialogue::noteException(const char* what) {
    orvTraceException(what);
    std::snprintf(exception_.data(), exception_.size(), "%s", what);
}
