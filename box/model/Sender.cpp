#include "box/model/Sender.h"

#include <algorithm>

namespace model {

// --- Servers ---

void Sender::readServers() {
    model::readServers(outside_, servers_);
    retrying_ = false;
    attempts_ = countdown_ = 0;
    primaryActive_ = servers_.primary.valid() || !servers_.secondary.valid();
    publish();
}

void Sender::publish() {
    const Server& server = active();
    const bool none = !servers_.primary.enabled && !servers_.secondary.enabled;
    const std::string kind = std::to_string(server.kind) + "-";
    outside_.write("Oper.Callhome.NF-ActiveSMTPAddr",
                   none ? "0-" : kind + (server.kind == 3 ? server.address : server.stored));
    outside_.write("Oper.Callhome.ActiveSMTPAddr", none || server.kind != 1 ? "00000000" : server.stored);
    outside_.write("Oper.Callhome.ActiveSMTPPort", std::to_string(server.port));
}

bool Sender::changeOver() {
    const Server& other = primaryActive_ ? servers_.secondary : servers_.primary;
    if (!other.valid()) {
        return false;
    }
    primaryActive_ = !primaryActive_;
    publish();
    return true;
}

// --- When ---

void Sender::second() {
    if (retrying_ && !sending()) {
        if (queue_.list(List::kSend).empty()) {
            outside_.tell(3, 0x8b00000e, "Message queue is empty, cancelling attempts to retry sending last message");
            retrying_ = false;
            attempts_ = countdown_ = 0;
        } else {
            countdown_ -= countdown_ > 0 ? 1 : 0;
        }
    }
    if (!sending() && (!retrying_ || countdown_ == 0)) {
        tryStart();
    }
}

void Sender::tryStart() {
    const bool ready = !stopping_ && addressKnown_ && servers_.usable() && identity_.hasSender();
    entry_ = ready ? queue_.open() : nullptr;
    if (entry_ != nullptr) {
        startDialogue();
    }
}

void Sender::startDialogue() {
    dialogue_.emplace(entry_->message, active(), identity_, retrying_, outside_);
    settle();  // an address that is none ends it at once
}

// The longest wait is reached after nine failures; a single server gets every wait once, two get each twice.
unsigned Sender::delay() const {
    static const unsigned delays[] = {3600, 5, 5, 300, 300, 600, 600, 1800, 1800};
    return attempts_ < std::size(delays) ? delays[attempts_] : 3600;
}

// --- What became of it ---

void Sender::settle() {
    if (!dialogue_ || !dialogue_->over()) {
        return;
    }
    dialogue_->failed() ? giveBackFailed() : giveBackSent();
}

void Sender::giveBackFailed() {
    const Dialogue done = *dialogue_;
    dialogue_.reset();
    queue_.close(*entry_);
    outside_.tell(
        3, 0x8b000013,
        printed("Encountered failure communicating with SMTP server=%s, port=%u, Reason=[%s], Description=[%s], "
                "Response=[%s]",
                done.server().address.c_str(), done.server().port, done.reason().c_str(), done.description().c_str(),
                done.response().c_str()));
    if (!servers_.usable()) {
        outside_.tell(
            3, 0x8b000011,
            "SMTP addresses are defaults or disabled, will not retry sending messages until a valid SMTP  address "
            "has been configured and enabled");
        return;
    }
    changeOver();
    retrying_ = true;
    attempts_ += attempts_ <= 9 ? (servers_.both() ? 1u : 2u) : 0u;
    countdown_ = delay();
    outside_.tell(3, 0x8b00000f,
                  printed("Will retry sending via SMTP server=%s, port=%u, after %u seconds", active().address.c_str(),
                          active().port, countdown_));
}

void Sender::giveBackSent() {
    std::vector<Envelope>& envelopes = entry_->message.envelopes;
    if (std::any_of(envelopes.begin(), envelopes.end(), [](const Envelope& envelope) { return !envelope.done; })) {
        changeOver();
        outside_.tell(
            3, 0x8b000010,
            printed("Will retry sending via SMTP server=%s, port=%u", active().address.c_str(), active().port));
        return startDialogue();
    }
    bool undelivered = false;
    for (Envelope& envelope : envelopes) {
        for (std::string& recipient : envelope.recipients) {
            undelivered = undelivered || markOf(recipient) != kDelivered;
            setMark(recipient, kUnmarked);
        }
        envelope.done = false;
    }
    dialogue_.reset();
    queue_.finish(*entry_, undelivered);
    retrying_ = false;
    attempts_ = countdown_ = 0;
    tryStart();
}

}  // namespace model
