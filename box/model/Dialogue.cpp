#include "box/model/Dialogue.h"

#include <arpa/inet.h>

namespace model {
namespace {

constexpr const char* kTimedOut = "Connection timed out";

bool isLiteral(const Server& server) {
    unsigned char bytes[16];
    return server.kind == 3 || inet_pton(server.kind == 1 ? AF_INET : AF_INET6, server.address.c_str(), bytes) == 1;
}

bool isSettled(const std::string& recipient) {
    return markOf(recipient) == kDelivered || markOf(recipient) == kGivenUp;
}

}  // namespace

Dialogue::Dialogue(Message& message, const Server& server, const Identity& identity, const bool& retrying,
                   Outside& outside)
    : message_(message), server_(server), identity_(identity), retrying_(retrying), outside_(outside) {
    step_ = {WireStep::kConnect, server_, "", 300};
    if (!isLiteral(server_)) {
        connectFailed("Set Network Address Error", "Not a valid network address string");
    }
}

void Dialogue::tell(int level, std::uint32_t number, const std::string& text) {
    outside_.tell(level, number, text.substr(0, 511));
}

void Dialogue::speak(Stage stage, std::string bytes, unsigned limit) {
    stage_ = stage;
    step_ = {WireStep::kSpeak, {}, std::move(bytes), limit};
}

// --- What became of a step ---

void Dialogue::connected() {
    connected_ = true;
    speak(Stage::kGreeting, "");
}

void Dialogue::connectFailed(const std::string& reason, const std::string& description) {
    reason_ = reason;
    description_ = description;
    fail();
}

void Dialogue::replied(const std::string& reply) {
    if (!reply.empty() && (reply[0] == '2' || reply[0] == '3')) {
        return accepted();
    }
    if (stage_ == Stage::kQuit) {
        return end();
    }
    reason_ = "SMTP RESPONSE Error";
    description_ = "SMTP server error Response";
    response_ = reply.ends_with("\r\n") ? reply.substr(0, reply.size() - 2) : reply;
    refused();
}

void Dialogue::closed(const std::string& description) {
    lost(description);
}

void Dialogue::silent() {
    if (stage_ == Stage::kConnect) {
        return connectFailed("Connect Error", kTimedOut);
    }
    lost(kTimedOut);
}

void Dialogue::lost(const std::string& description) {
    connected_ = false;
    if (stage_ == Stage::kQuit) {
        return end();
    }
    reason_ = "Socket Closed Error";
    description_ = description;
    if (stage_ == Stage::kReset) {
        return closeEnvelope();  // its outcome does not matter
    }
    if (stage_ == Stage::kRecipient) {
        setMark(envelope().recipients[recipient_], markBefore_);
        for (std::string& recipient : envelope().recipients) {
            if (markOf(recipient) == kPutOffAgain) {
                setMark(recipient, kPutOff);
            }
        }
    } else if (stage_ == Stage::kData || stage_ == Stage::kText) {
        takeBackMarks();
    }
    fail();
}

void Dialogue::accepted() {
    switch (stage_) {
        case Stage::kGreeting:
            return nextIdentity();
        case Stage::kExtended:
        case Stage::kHello:
            introduced_ = true;
            return nextEnvelope();
        case Stage::kFrom:
            return nextRecipient();
        case Stage::kRecipient:
            ++taken_;
            ++recipient_;
            return nextRecipient();
        case Stage::kData:
            return speak(Stage::kText,
                         mailText(message_, envelope(), identity_, switchAddress_, outside_.now) + "\r\n.\r\n", 600);
        case Stage::kText:
        case Stage::kReset:
            return closeEnvelope();
        case Stage::kQuit:
            return end();
        case Stage::kConnect:
            break;
    }
}

void Dialogue::refused() {
    switch (stage_) {
        case Stage::kExtended:
            return speak(Stage::kHello, "HELO " + greeting_ + "\r\n");
        case Stage::kHello:
            return nextIdentity();
        case Stage::kRecipient:
            return recipientRefused(response_);
        case Stage::kReset:
            return closeEnvelope();
        case Stage::kData:
        case Stage::kText:
            takeBackMarks();
            return fail();
        default:
            return fail();
    }
}

// --- Who is speaking ---

// Up to three tries: host name, IPv4, IPv6. The one that offers IPv6 is the last.
void Dialogue::nextIdentity() {
    if (tries_ == 3 || lastTry_) {
        return fail();
    }
    ++tries_;
    if (tries_ == 1 && identity_.useHostname && !identity_.hostname.empty()) {
        switchAddress_ = identity_.hostname;
        const auto name = outside_.names.find(identity_.hostname);
        if (name == outside_.names.end()) {
            reason_ = "DNS Hostname Resolve Error";
            description_ = "Name or service not known";
            response_.clear();
            return nextIdentity();
        }
        greeting_ = name->second;
    } else if (tries_ < 3 && !identity_.ipv4.empty()) {
        switchAddress_ = identity_.ipv4;
        greeting_ = "[" + identity_.ipv4 + "]";
    } else {
        lastTry_ = true;
        switchAddress_ = identity_.ipv6;
        greeting_ = "[IPv6:" + identity_.ipv6 + "]";
    }
    reason_ = "Okay";
    description_.clear();
    response_.clear();
    speak(Stage::kExtended, "EHLO " + greeting_ + "\r\n");
}

// --- One envelope after the other ---

void Dialogue::nextEnvelope() {
    while (envelope_ < message_.envelopes.size() && envelope().done) {
        ++envelope_;
    }
    if (envelope_ == message_.envelopes.size()) {
        if (!connected_) {
            return end();
        }
        return speak(Stage::kQuit, "QUIT\r\n", 5);
    }
    if (!connected_) {
        return fail();
    }
    recipient_ = taken_ = 0;
    refusals_.assign(envelope().recipients.size(), "");
    speak(Stage::kFrom, "MAIL FROM:<" + identity_.from + ">\r\n");
}

void Dialogue::nextRecipient() {
    std::vector<std::string>& recipients = envelope().recipients;
    while (recipient_ < recipients.size() && isSettled(recipients[recipient_])) {
        ++recipient_;
    }
    if (recipient_ == recipients.size()) {
        return endOfRecipients();
    }
    markBefore_ = markOf(recipients[recipient_]);
    setMark(recipients[recipient_], kUnmarked);
    speak(Stage::kRecipient, "RCPT TO:<" + recipients[recipient_] + ">\r\n");
}

void Dialogue::recipientRefused(const std::string& reply) {
    const char mark = markBefore_ == kPutOff ? kPutOffAgain : reply.starts_with('4') ? kPutOff : kGivenUp;
    setMark(envelope().recipients[recipient_], mark);
    refusals_[recipient_] = reply;
    ++recipient_;
    nextRecipient();
}

void Dialogue::endOfRecipients() {
    taken_ > 0 ? speak(Stage::kData, "DATA\r\n", 120) : speak(Stage::kReset, "RSET\r\n");
}

// The mail has not left: who was put off in this dialogue has not been asked.
void Dialogue::takeBackMarks() {
    for (std::string& recipient : envelope().recipients) {
        if (markOf(recipient) == kPutOff) {
            setMark(recipient, kUnmarked);
        } else if (markOf(recipient) == kPutOffAgain) {
            setMark(recipient, kPutOff);
        }
    }
}

void Dialogue::reportRefusal(const std::string& recipient, std::uint32_t number, const char* outcome,
                             std::string& reply) {
    const std::string profile = envelope().profile, address = addressOf(recipient);
    tell(3, number,
         printed("CallHome message send for profile %s to recipient %s failed on SMTP server %s, port %u. %s",
                 profile.c_str(), address.c_str(), server_.address.c_str(), server_.port, outcome));
    tell(3, 0x8b000015,
         printed("Profile %s, %s via SMTP Server %s/%u, SMTP error: %s", profile.c_str(), address.c_str(),
                 server_.address.c_str(), server_.port, reply.c_str()));
}

void Dialogue::closeEnvelope() {
    if (taken_ == 0) {
        tell(2, 0x8b000016,
             printed(
                 "SMTP server %s, port %u,  did not accept any recipients from profile %s. Email message will not be "
                 "sent for the profile.",
                 server_.address.c_str(), server_.port, envelope().profile.c_str()));
    }
    bool pending = false;
    for (std::size_t at = 0; at < envelope().recipients.size(); ++at) {
        std::string& recipient = envelope().recipients[at];
        switch (markOf(recipient)) {
            case kUnmarked:
                setMark(recipient, kDelivered);
                break;
            case kPutOff:
                pending = true;
                reportRefusal(recipient, 0x8b000017, "Retry will be attempted.", refusals_[at]);
                break;
            case kPutOffAgain:
                setMark(recipient, kGivenUp);
                reportRefusal(recipient, 0x8b000018, "Retry failed, ignoring recipient.", refusals_[at]);
                break;
            case kGivenUp:
                reportRefusal(recipient, 0x8b000019, "Retry will not be attempted, ignoring recipient.", refusals_[at]);
                break;
            default:
                break;
        }
    }
    envelope().done = !pending;
    ++envelope_;
    nextEnvelope();
}

// --- The end ---

void Dialogue::fail() {
    failed_ = true;
    connected_&& introduced_ ? speak(Stage::kQuit, "QUIT\r\n", 5) : end();
}

void Dialogue::end() {
    step_ = {};
    if (failed_ && !retrying_) {
        tell(2, 0x8b000012, "Critical protocol failure with SMTP server");
    } else if (!failed_ && retrying_) {
        tell(2, 0x8b000014, "Successful recovery of SMTP communications");
    }
}

}  // namespace model
