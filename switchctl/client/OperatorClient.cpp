#include "switchctl/client/OperatorClient.h"

#include "Dispatcher.h"
#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Text.h"

#include <algorithm>

using std::chrono::steady_clock;

OperatorClient::~OperatorClient() {
    if (transport_ != nullptr) {
        transport_->detach(address_);
    }
}

WireBytes OperatorClient::call(std::uint16_t code, const WireBytes& body, const std::string& who) {
    // Asked first, for the sake of the error message: a switchd that answers this has passed the request on.
    const std::uint32_t witness = who == SWITCHD ? 0 : ++lastTag_;
    if (witness != 0) {
        send(OperatorCode::COMPONENTS, witness, {});
    }
    const std::uint32_t tag = ++lastTag_;
    send(code, tag, body);
    if (!waitForAnswer(tag) && answers_.contains(witness)) {
        throw NoAnswer(silenceOf(who));
    }
    return takeAnswer(tag);
}

WireBytes OperatorClient::change(std::uint16_t code, const WireBytes& body, const std::string& who) {
    constexpr const char* REMARK = "; it may still be done";
    call(OperatorCode::COMPONENTS);
    const std::uint32_t tag = ++lastTag_;
    send(code, tag, body);
    if (!waitForAnswer(tag) && who != SWITCHD) {
        throw NoAnswer(silenceOf(who) + REMARK);
    }
    return takeAnswer(tag, REMARK);
}

WireBytes OperatorClient::open(std::uint16_t code, const WireBytes& body, PushHandler handler) {
    const std::uint32_t tag = ++lastTag_;
    streams_[tag] = std::move(handler);
    send(code, tag, body);
    (void)waitForAnswer(tag);
    return takeAnswer(tag);
}

void OperatorClient::ensureConnected() {
    if (transport_ != nullptr) {
        return;
    }
    Transport* transport = connect_(timeout_);
    if (transport == nullptr || transport->attach(*this, address_) < 0) {
        throw SwitchdSilent("switchd cannot be reached");
    }
    transport_ = transport;
}

void OperatorClient::send(std::uint16_t code, std::uint32_t tag, const WireBytes& body) {
    ensureConnected();
    Hsb_Message message(OperatorCode::FORMAT, code, encodeFields(OperatorRequest{tag, body}));
    message.source(address_);
    message.destination(ServiceAddress::OPERATOR);
    if (transport_->send(message) < 0) {
        throw Refused("the request cannot be sent: it is too large, or the bus is lost");
    }
}

bool OperatorClient::waitForAnswer(std::uint32_t tag) {
    return serveUntil([&] { return answers_.contains(tag); });
}

std::string OperatorClient::silenceOf(const std::string& who) const {
    return who + " did not answer in " + Text::seconds(timeout_.count()) + " s";
}

WireBytes OperatorClient::takeAnswer(std::uint32_t tag, const std::string& remark) {
    auto known = answers_.extract(tag);
    if (known.empty()) {
        throw SwitchdSilent(silenceOf(SWITCHD) + remark);
    }
    Answer answer = std::move(known.mapped());
    if (answer.status != OperatorStatus::OK) {
        throw Refused(answer.reason, answer.status);
    }
    return std::move(answer.body);
}

// What has come by the deadline counts, even on a machine that gave us no time to look at it before.
bool OperatorClient::serveUntil(const std::function<bool()>& condition) {
    const auto deadline = steady_clock::now() + timeout_;
    bool passed = false;
    while (!condition() && !passed) {
        const auto left = std::chrono::ceil<Milliseconds>(deadline - steady_clock::now());
        passed = left <= Milliseconds::zero();
        turn(std::max(left, Milliseconds::zero()));
    }
    return condition();
}

void OperatorClient::serveForever() {
    for (;;) {
        turn(std::chrono::hours(1));
    }
}

void OperatorClient::turn(Milliseconds limit) {
    const Timeval span(limit.count() / 1000, static_cast<std::int32_t>(limit.count() % 1000 * 1000));
    if (Dispatcher::instance()->handle_events(&span) < 0) {
        throw NoAnswer("waiting for switchd failed");
    }
    if (transport_->lost()) {
        throw SwitchdSilent("switchd has left the bus");
    }
}

void OperatorClient::receive(Hsb_Message& message) {
    if (message.format() != OperatorCode::FORMAT || message.source() != ServiceAddress::OPERATOR) {
        return;
    }
    if (message.code() == OperatorCode::LOG_LINES || message.code() == OperatorCode::TEST_RESULT) {
        const auto push = decodeFields<OperatorPush>(message.payload());
        const auto stream = push ? streams_.find(push->tag) : streams_.end();
        if (stream != streams_.end()) {
            stream->second(push->body);
        }
        return;
    }
    if (const auto reply = decodeFields<OperatorReply>(message.payload())) {
        answers_[reply->tag] = {reply->status, reply->reason, {reply->body.begin(), reply->body.end()}};
    }
}

void OperatorClient::badAnswer() {
    throw Refused("switchd's answer cannot be read; are switchd and switchctl of one version?");
}
