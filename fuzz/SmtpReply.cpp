// What a mail server says, each reply as it comes with one receive; a byte of 30 ends one. One that begins with 31 lets
// the time limit pass, with 29 the connection breaks, with 28 a signal comes, with 27 it comes out of turn. The first
// byte of all says how the server is reached and how the network behaves, and which dialogue is spoken: the required
// one judges only a reply's first character, and keeps the rest for the event log.
#include "fuzz/Stage.h"
#include "fuzz/Target.h"
#include "smtp/OrvSMTPClient.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace orv_fuzz {

namespace {

constexpr char kReplyEnd = 30;
constexpr char kLimitPasses = 31;
constexpr char kBreaks = 29;
constexpr char kSignal = 28;
constexpr char kOutOfTurn = 27;

// The bits of the first byte.
constexpr unsigned kByName = 2;  // the lowest two are the kind of address: 0 is IPv4, 1 IPv6, 3 none that is known
constexpr unsigned kConforming = 4;
constexpr unsigned kInHalves = 8;      // what is sent
constexpr unsigned kTooLong = 16;      // once, for a text; after a signal
constexpr unsigned kRefused = 32;      // by the first address
constexpr unsigned kUnknownName = 64;  // to the resolver
constexpr unsigned kOddAddress = 128;  // or a name without a canonical form

SmtpAddrMode kindOf(unsigned manner) {
    constexpr SmtpAddrMode kKinds[] = {SmtpAddrMode::kIPv4, SmtpAddrMode::kIPv6, SmtpAddrMode::kHostName,
                                       SmtpAddrMode{0}};
    return kKinds[manner % 4];
}

// A connection to nobody.
class ReplyingSystem final : public OrvSMTPSystem {
public:
    ReplyingSystem(unsigned manner, std::string replies)
        : manner_(manner), refusals_(is(kRefused) ? 1 : 0), replies_(std::move(replies)) {
        known_.sin_family = AF_INET;
        first_.ai_family = AF_UNIX;  // no address for the daemon
        first_.ai_next = &second_;
        second_.ai_family = AF_INET;
        second_.ai_addr = reinterpret_cast<sockaddr*>(&known_);
        second_.ai_addrlen = sizeof known_;
        first_.ai_canonname = is(kOddAddress) ? nullptr : canonical_.data();
    }
    ReplyingSystem(const ReplyingSystem&) = delete;
    ReplyingSystem& operator=(const ReplyingSystem&) = delete;

    bool is(unsigned bit) const { return (manner_ & bit) != 0; }

    int resolve(const char* /*name*/, const addrinfo& /*hints*/, addrinfo** list) override {
        *list = is(kUnknownName) ? nullptr : &first_;
        return is(kUnknownName) ? EAI_NONAME : 0;
    }
    void freeList(addrinfo* /*list*/) override {}
    int connect(int /*socket*/, const sockaddr* /*address*/, socklen_t /*length*/) override {
        errno = kindOf(manner_) == SmtpAddrMode::kIPv6 ? EINPROGRESS : ECONNREFUSED;
        return std::exchange(refusals_, 0) > 0 ? -1 : 0;
    }
    ssize_t send(int /*socket*/, const void* /*bytes*/, std::size_t length, Waiting waiting) override {
        if (is(kTooLong) && waiting == Waiting::kAllowed && failures_ < 2) {
            errno = failures_++ == 0 ? EINTR : EMSGSIZE;
            return -1;
        }
        return static_cast<ssize_t>(is(kInHalves) ? (length + 1) / 2 : length);
    }
    bool hasBytes(int /*socket*/) override { return replies_.starts_with(kOutOfTurn); }
    ssize_t receive(int /*socket*/, void* bytes, std::size_t length) override {
        last = replies_.substr(0, replies_.find(kReplyEnd));
        replies_.erase(0, last.size() + 1);
        for (const auto& [begin, error] : {std::pair{kLimitPasses, EAGAIN}, {kBreaks, ECONNRESET}, {kSignal, EINTR}}) {
            if (last.starts_with(begin)) {
                last.clear();
                errno = error;
                return -1;
            }
        }
        last.resize(std::min(last.size(), length));
        std::memcpy(bytes, last.data(), last.size());
        return static_cast<ssize_t>(last.size());
    }
    void bound(int /*socket*/, int /*option*/, std::chrono::milliseconds /*limit*/) override {}

    std::string last;  // what came last; empty when nothing did

private:
    const unsigned manner_;
    int refusals_;
    int failures_ = 0;
    std::string replies_;
    sockaddr_in known_{};
    addrinfo first_{};
    addrinfo second_{};
    std::string canonical_ = "switch.example.com";
};

// What the event log shows of a reply.
std::string shown(const std::string& reply) {
    std::string text = reply.c_str();
    if (text.ends_with("\r\n")) {
        text.resize(text.size() - 2);
    }
    return text;
}

class Dialogue {
public:
    Dialogue(unsigned manner, std::string replies) : kind_(kindOf(manner)), system_(manner, std::move(replies)) {}

    void lead() {
        judge(client_.connectServer(address(), 25, kind_));
        judge(client_.sendHello("192.0.2.2", kind_));
        for (int mails = 0; mails < 2; ++mails) {
            judge(client_.sendMailFrom("switch@example.com"));
            judge(client_.sendRcptTo("ann@example.com"));
            judge(client_.sendRcptTo("bob@example.com"));
            judge(client_.sendDataCmd());
            static_cast<void>(client_.sendBody("Subject: x\r\n\r\n.\r\n" + std::string(2000, 'x') + "\r\n"));
            judge(client_.sendDataEnd());
            judge(client_.sendReset());
        }
        judge(client_.sendQuit());
        client_.disconnect();
    }

private:
    std::string address() const {
        const char* const literal = kind_ == SmtpAddrMode::kIPv6 ? "2001:db8::1" : "192.0.2.1";
        return system_.is(kOddAddress) ? "no address" : literal;
    }
    void judge(int result) {
        const std::string reply = std::exchange(system_.last, {});
        if (system_.is(kConforming)) {
            judgeWhole(result);
            return;
        }
        const bool positive = !reply.empty() && (reply[0] == '2' || reply[0] == '3');
        EXPECT_EQ(result == 0, positive) << reply;
        EXPECT_LE(result, 0);
        EXPECT_NE(client_.errorName(), nullptr);
        if (!reply.empty() && !positive) {
            EXPECT_EQ(client_.lastReply(), shown(reply));
            EXPECT_EQ(client_.errorCode(), OrvSMTPError::kResponseError);
        }
    }

    // A reply may have come in any number of pieces; what agrees is whole, and of one code.
    void judgeWhole(int result) {
        EXPECT_LE(result, 0);
        const bool wasConnected = std::exchange(connected_, client_.connected());
        const std::string_view reply = client_.session().reply.data();
        if (result == 0) {
            EXPECT_TRUE(reply.starts_with(client_.session().wanted)) << reply;
            EXPECT_TRUE(client_.connected() || !wasConnected);  // these replies come to lost connections, too
        } else if (wasConnected) {
            EXPECT_NE(client_.errorCode(), OrvSMTPError::kOkay);
        }
    }

    const SmtpAddrMode kind_;
    bool connected_ = false;
    ReplyingSystem system_;
    OrvSMTPClient client_{OrvSMTPTimeouts(), system_,
                          system_.is(kConforming) ? orvConformingDialogue() : orvRequiredDialogue()};
};

void run(Bytes data) {
    if (!data.empty()) {
        Dialogue(data[0], textOf(data.subspan(1))).lead();
    }
}

std::string with(unsigned manner, const std::string& replies) {
    return static_cast<char>(manner) + replies;
}

std::string replies(std::initializer_list<const char*> texts) {
    std::string all;
    for (const char* text : texts) {
        all += text;
        all += kReplyEnd;
    }
    return all;
}

std::vector<Seed> seeds() {
    const std::string hello = replies({"220 mx1 ESMTP\r\n", "250-mx1\r\n250-SIZE 5000000\r\n250 8BITMIME\r\n"});
    const std::string mail = replies({"250 2.1.0 Ok\r\n", "250 2.1.5 Ok\r\n", "250 2.1.5 Ok\r\n", "354 End data\r\n",
                                      "250 2.0.0 queued as 4F\r\n", "250 2.0.0 Ok\r\n"});
    const std::string all = hello + mail + mail + replies({"221 2.0.0 Bye\r\n"});
    return {
        {"two_mails", with(0, all)},
        {"old_server", with(0, replies({"220 mx1 SMTP\r\n", "502 EHLO?\r\n", "250 mx1\r\n"}) + mail)},
        {"refuses",
         with(0, hello + replies({"250 Ok\r\n", "550 5.1.1 nobody\r\n", "450 4.2.1 later\r\n", "503 no\r\n"}))},
        {"not_now", with(0, replies({"554 no service\r\n"}))},
        {"gone_after_hello", with(0, hello)},
        {"silent_at_data", with(0, hello + replies({"250 Ok\r\n", "250 Ok\r\n", "250 Ok\r\n", "\x1f", "\x1f"}))},
        {"in_pieces", with(0, replies({"2", "20 mx1\r\n", "250-mx1\r\n", "250 SIZE\r\n", "250 Ok\r\n", "%n%s 250"}))},
        {"longer_than_any", with(0, replies({("5" + std::string(1500, 'x') + "\r\n").c_str()}) + hello + mail)},
        {"breaks_after_a_signal", with(1, hello + replies({"\x1c", "250 Ok\r\n", "\x1d"}))},
        {"by_name", with(kByName, all)},
        {"by_name_refused", with(kByName | kRefused | kOddAddress, all)},
        {"by_an_unknown_name", with(kByName | kUnknownName, all)},
        {"of_no_known_kind", with(3, all)},
        {"refused", with(kRefused, all)},
        {"takes_its_time", with(1 | kRefused, all)},
        {"odd_address", with(kOddAddress, all)},
        {"sent_in_halves", with(1 | kInHalves | kTooLong, all)},
        {"conforming", with(kConforming | kTooLong, all)},
        {"conforming_refuses",
         with(kConforming, hello + replies({"250 Ok\r\n", "550 5.1.1 nobody\r\n", "421 closing\r\n"}))},
        {"conforming_in_pieces",
         with(kConforming, replies({"2", "20 mx1\r\n", "250-mx1\r\n", "250 SIZE\r\n", "250 Ok\r\n", "299 x"}))},
        {"conforming_out_of_turn", with(kConforming, hello + replies({"250 Ok\r\n250 Ok\r\n"}))},
        {"conforming_before_its_turn", with(kConforming, hello + replies({"250 Ok\r\n",
                                                                          "\x1b"
                                                                          "250 Ok\r\n"}))},
        {"conforming_gibberish", with(kConforming, replies({"220 mx1\r\n", "250-a\r\n251 b\r\n"}))}};
}

}  // namespace

const Target kSmtpReply{"smtp_reply", run, seeds};

}  // namespace orv_fuzz
