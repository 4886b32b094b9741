// Talks with switchd on behalf of one run of switchctl.
//
// Connects at the first call, so that wrong usage and --help need no bus. Every call has a time limit; nothing waits
// for ever but serveForever().
#pragma once

#include "Hsb_Address.h"
#include "platform/transport/Transport.h"
#include "switchd/services/OperatorWire.h"

#include <chrono>
#include <functional>
#include <map>
#include <string>

class OperatorClient final : private TransportReceiver {
public:
    using Milliseconds = std::chrono::milliseconds;
    // Gives a transport that has joined the bus, waiting no longer than that for switchd; null when it cannot.
    using Connect = std::function<Transport*(Milliseconds patience)>;
    static constexpr const char* SWITCHD = "switchd";
    using PushHandler = std::function<void(WireSpan body)>;

    explicit OperatorClient(Connect connect) : connect_(std::move(connect)) {}
    ~OperatorClient();
    OperatorClient(const OperatorClient&) = delete;
    OperatorClient& operator=(const OperatorClient&) = delete;

    void timeout(Milliseconds limit) { timeout_ = limit; }
    Milliseconds timeout() const { return timeout_; }

    // Sends a request and returns the body of its answer. Throws Refused with the switch's reason, or NoAnswer which
    // names who did not answer.
    WireBytes call(std::uint16_t code, const WireBytes& body = {}, const std::string& who = SWITCHD);
    // As call, for what changes something. It is not sent to a switchd that is silent, which would do it later, when
    // nobody expects it any more; when the answer does not come, the message says that it may still be done.
    WireBytes change(std::uint16_t code, const WireBytes& body = {}, const std::string& who = SWITCHD);
    // As call, and hands all that is pushed with the request's tag to the handler while the client serves.
    WireBytes open(std::uint16_t code, const WireBytes& body, PushHandler handler);

    // Serves the bus until the condition holds or the time limit has passed; whether it holds. Throws NoAnswer when
    // switchd leaves.
    [[nodiscard]] bool serveUntil(const std::function<bool()>& condition);
    [[noreturn]] void serveForever();

    // The body of an answer in its layout; throws Refused when it is of another.
    template <typename Body>
    static Body decode(const WireBytes& bytes) {
        auto body = decodeFields<Body>(bytes);
        if (!body) {
            badAnswer();
        }
        return std::move(*body);
    }

private:
    struct Answer {
        OperatorStatus status;
        std::string reason;
        WireBytes body;
    };

    void receive(Hsb_Message& message) override;
    void ensureConnected();
    void send(std::uint16_t code, std::uint32_t tag, const WireBytes& body);
    // Whether the answer has come in time.
    bool waitForAnswer(std::uint32_t tag);
    // Throws SwitchdSilent when it has not; its message ends with that remark.
    WireBytes takeAnswer(std::uint32_t tag, const std::string& remark = "");
    std::string silenceOf(const std::string& who) const;
    void turn(Milliseconds limit);
    [[noreturn]] static void badAnswer();

    Connect connect_;
    Milliseconds timeout_ = std::chrono::seconds(10);
    Transport* transport_ = nullptr;  // Not owned; null before the first call.
    Hsb_Address address_;
    std::uint32_t lastTag_ = 0;
    std::map<std::uint32_t, Answer> answers_;
    std::map<std::uint32_t, PushHandler> streams_;
};
