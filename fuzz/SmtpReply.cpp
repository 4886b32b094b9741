// What a mail server says, each reply as it comes with one receive; a byte of 30 ends one, and one of 31 lets the time
// limit pass. Whatever it is, only its first character is judged, and the rest is kept for the event log.
#include "fuzz/Stage.h"
#include "fuzz/Target.h"
#include "smtp/OrvSMTPClient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace orv_fuzz {

namespace {

constexpr char kReplyEnd = 30;
constexpr char kLimitPasses = 31;

// A connection to nobody.
class ReplyingSystem final : public OrvSMTPSystem {
public:
    explicit ReplyingSystem(std::string replies) : replies_(std::move(replies)) {}

    int connect(int /*socket*/, const sockaddr* /*address*/, socklen_t /*length*/) override { return 0; }
    ssize_t send(int /*socket*/, const void* /*bytes*/, std::size_t length, Waiting /*waiting*/) override {
        return static_cast<ssize_t>(length);
    }
    ssize_t receive(int /*socket*/, void* bytes, std::size_t length) override {
        last = replies_.substr(0, replies_.find(kReplyEnd));
        replies_.erase(0, last.size() + 1);
        if (!last.empty() && last[0] == kLimitPasses) {
            last.clear();
            errno = EAGAIN;
            return -1;
        }
        last.resize(std::min(last.size(), length));
        std::memcpy(bytes, last.data(), last.size());
        return static_cast<ssize_t>(last.size());
    }
    void bound(int /*socket*/, int /*option*/, std::chrono::milliseconds /*limit*/) override {}

    std::string last;  // what came last; empty when nothing did

private:
    std::string replies_;
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
    explicit Dialogue(std::string replies) : system_(std::move(replies)) {}

    void lead() {
        judge(client_.connectServer("192.0.2.1", 25, SmtpAddrMode::kIPv4));
        judge(client_.sendHello("192.0.2.2", SmtpAddrMode::kIPv4));
        for (int mails = 0; mails < 2; ++mails) {
            judge(client_.sendMailFrom("switch@example.com"));
            judge(client_.sendRcptTo("ann@example.com"));
            judge(client_.sendRcptTo("bob@example.com"));
            judge(client_.sendDataCmd());
            static_cast<void>(client_.sendBody("Subject: x\r\n\r\n.\r\n"));
            judge(client_.sendDataEnd());
            judge(client_.sendReset());
        }
        judge(client_.sendQuit());
        client_.disconnect();
    }

private:
    void judge(int result) {
        const std::string reply = std::exchange(system_.last, {});
        const bool positive = !reply.empty() && (reply[0] == '2' || reply[0] == '3');
        EXPECT_EQ(result == 0, positive) << reply;
        EXPECT_LE(result, 0);
        EXPECT_NE(client_.errorName(), nullptr);
        if (!reply.empty() && !positive) {
            EXPECT_EQ(client_.lastReply(), shown(reply));
            EXPECT_EQ(client_.errorCode(), OrvSMTPError::kResponseError);
        }
    }

    ReplyingSystem system_;
    OrvSMTPClient client_{OrvSMTPTimeouts(), system_};
};

void run(Bytes data) {
    Dialogue(textOf(data)).lead();
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
    return {{"two_mails", hello + mail + mail + replies({"221 2.0.0 Bye\r\n"})},
            {"old_server", replies({"220 mx1 SMTP\r\n", "502 EHLO?\r\n", "250 mx1\r\n"}) + mail},
            {"refuses", hello + replies({"250 Ok\r\n", "550 5.1.1 nobody\r\n", "450 4.2.1 later\r\n", "503 no\r\n"})},
            {"not_now", replies({"554 no service\r\n"})},
            {"gone_after_hello", hello},
            {"silent_at_data", hello + replies({"250 Ok\r\n", "250 Ok\r\n", "250 Ok\r\n", "\x1f", "\x1f"})},
            {"in_pieces", replies({"2", "20 mx1\r\n", "250-mx1\r\n", "250 SIZE\r\n", "250 Ok\r\n", "%n%s 250"})},
            {"longer_than_any", replies({("5" + std::string(1500, 'x') + "\r\n").c_str()}) + hello + mail}};
}

}  // namespace

const Target kSmtpReply{"smtp_reply", run, seeds};

}  // namespace orv_fuzz
