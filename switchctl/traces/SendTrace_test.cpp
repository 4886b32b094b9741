#include "switchctl/traces/SendTrace.h"

#include "switchctl/log/MailFailures.h"

#include <gtest/gtest.h>

namespace {

const std::string HEAD = "11/14/2023 UTC 22:13:20.000  17 OrvSMTPClient sendRequest: ";

std::string sent(const std::string& command) {
    return HEAD + "SMTP Send (incl CRLF) {" + command + "\r\n}\n" + HEAD + "SMTP bytes sent = 7 of 7\n";
}

std::string got(const std::string& reply) {
    return HEAD + "SMTP StatusSMTPResponse (incl CRLF) {" + reply + "\r\n}\n";
}

SendTrace traceOf(const std::string& text) {
    SendTrace trace;
    for (const TraceRecord& record : traceRecords(text)) {
        trace.take(record);
    }
    return trace;
}

TEST(SendTrace, knowsNothingBeforeTheFirstRecord) {
    const SendTrace trace;

    EXPECT_EQ(trace.lastTime(), 0);
    EXPECT_FALSE(trace.asked());
    EXPECT_FALSE(trace.refusal());
    EXPECT_FALSE(trace.inDialogue());
}

TEST(SendTrace, knowsTheCommandThatHasNoReplyYet) {
    EXPECT_EQ(traceOf(got("220 x") + sent("EHLO [192.0.2.9]")).asked(), "EHLO [192.0.2.9]");
    EXPECT_EQ(traceOf(sent("EHLO [192.0.2.9]") + got("250 x")).asked(), std::nullopt);
    EXPECT_EQ(traceOf(sent("EHLO [192.0.2.9]")).lastTime(), 1700000000000000);
}

TEST(SendTrace, isInADialogueFromTheGreetingToTheFarewell) {
    EXPECT_TRUE(traceOf(got("220 x")).inDialogue());
    EXPECT_FALSE(traceOf(got("220 x") + sent("QUIT") + got("221 x")).inDialogue());
}

TEST(SendTrace, remembersWhatWasRefusedUntilAMailIsTaken) {
    const std::string refused = got("220 x") + sent("MAIL FROM:<a>") + got("550 no") + sent("QUIT") + got("221 bye");
    ASSERT_TRUE(traceOf(refused).refusal());
    EXPECT_EQ(traceOf(refused).refusal()->command, "MAIL FROM:<a>");
    EXPECT_EQ(traceOf(refused).refusal()->text, "550 no");

    const SendTrace taken = traceOf(refused + sent("DATA") + got("354 go") + sent(".") + got("250 ok"));
    EXPECT_FALSE(taken.refusal());
    EXPECT_EQ(taken.lastTaken(), 1700000000000000);
}

TEST(SendTrace, remembersWhatWasSaidAboutEachRecipientLast) {
    const SendTrace trace = traceOf(sent("RCPT TO:<a@b>") + got("550 no") + sent("RCPT TO:<c@d>") + got("250 ok") +
                                    sent("RCPT TO:<a@b>") + got("451 later"));

    ASSERT_NE(trace.about("a@b"), nullptr);
    EXPECT_EQ(trace.about("a@b")->text, "451 later");
    EXPECT_EQ(trace.about("c@d")->text, "250 ok");
    EXPECT_EQ(trace.about("x@y"), nullptr);
    EXPECT_FALSE(trace.refusal());
}

TEST(ServerText, putsAnAddressWithColonsIntoBrackets) {
    EXPECT_EQ(serverText("192.0.2.1", "25"), "192.0.2.1:25");
    EXPECT_EQ(serverText("2001:db8::1", "2525"), "[2001:db8::1]:2525");
}

}  // namespace
