// doctor: what it prints, what it asks, and how long it takes.
#include "testing/switchctl/DoctorTest.h"

#include <chrono>

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using Clock = std::chrono::steady_clock;

class Doctor : public DoctorTest {
protected:
    static std::size_t count(const std::string& text, const std::string& part) {
        std::size_t found = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
            ++found;
        }
        return found;
    }
};

TEST_F(Doctor, ofASwitchOnWhichNothingIsWrongAsksForEveryRecipientAndSendsNothing) {
    const Outcome result = run({"doctor"});

    EXPECT_EQ(result.status, ExitStatus::DONE);
    EXPECT_THAT(result.out, StartsWith("CallHome can send.\ncomponents "));
    EXPECT_EQ(server_.received(0),
              "EHLO [192.0.2.9]\r\n"
              "MAIL FROM:<sw@example.com>\r\nRCPT TO:<a@b>\r\nRCPT TO:<c@d>\r\nRSET\r\n"
              "MAIL FROM:<sw@example.com>\r\nRCPT TO:<e@f>\r\nRSET\r\n"
              "QUIT\r\n");
    EXPECT_THAT(server_.mailsTaken(), IsEmpty());
}

TEST_F(Doctor, printsTheStagesWithTheServersWords) {
    sayOf("c@d", "550 no such user");

    const Outcome result = run({"doctor"});

    const std::string stages = result.out.substr(result.out.find("first mail server " + serverText() + "\n"));
    EXPECT_THAT(stages, MatchesRegex("first mail server [^\n]*\n"
                                     "  route 127.0.0.1 +passed +[0-9]+ ms +from 127.0.0.1\n"
                                     "  connect 127.0.0.1:[0-9]+ +passed +[0-9]+ ms *\n"
                                     "  greeting +passed +[0-9]+ ms +220 scripted mail server\n"
                                     "  EHLO .192.0.2.9. +passed +[0-9]+ ms +250 hello\n"
                                     "  MAIL FROM:<sw@example.com> .Operators. +passed +[0-9]+ ms +250 sender ok\n"
                                     "  RCPT TO:<a@b> .Operators. +passed +[0-9]+ ms +250 recipient ok\n"
                                     "  RCPT TO:<c@d> .Operators. +refused +[0-9]+ ms +550 no such user\n"
                                     "  RSET +passed +[0-9]+ ms +250 reset\n"
                                     "  MAIL FROM:<sw@example.com> .Night. +passed +[0-9]+ ms +250 sender ok\n"
                                     "  RCPT TO:<e@f> .Night. +passed +[0-9]+ ms +250 recipient ok\n"
                                     "  RSET +passed +[0-9]+ ms +250 reset\n"
                                     "  QUIT +passed +[0-9]+ ms +221 bye\n"));
    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_THAT(result.err, HasSubstr("switchctl: asking the mail server " + serverText() + "; no mail is sent\n"));
}

TEST_F(Doctor, offlineAsksNobodyOutside) {
    server_.refuseConnections();

    EXPECT_EQ(done({"doctor", "--offline"}), done({"status"}));
    EXPECT_THAT(done({"doctor", "--offline", "--json"}), HasSubstr(",\"servers\":null"));
    EXPECT_EQ(server_.connections(), 0u);
}

TEST_F(Doctor, asJsonHasTheStatusAndTheStages) {
    sayOf("c@d", "550 no such user");

    const Outcome result = run({"doctor", "--json"});

    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, StartsWith("{\"canSend\":true,\"problems\":[{\"cause\":\"recipients\",\"text\":\""));
    EXPECT_THAT(result.out, HasSubstr("\"state\":\"failing\",\"parked\":null,"));
    EXPECT_THAT(result.out,
                HasSubstr("\"servers\":[{\"server\":\"" + serverText() +
                          "\",\"second\":false,\"works\":true,\"inPieces\":false,\"stages\":[{\"stage\":\"route\","));
    EXPECT_THAT(result.out, HasSubstr("{\"stage\":\"RCPT TO\",\"asked\":\"RCPT TO:<c@d>\",\"profile\":\"Operators\","
                                      "\"outcome\":\"refused\",\"words\":\"550 no such user\",\"milliseconds\":"));
}

TEST_F(Doctor, endsInTimeAndTellsMeanwhileWhatItWaitsFor) {
    reply(MailStage::kGreeting, ScriptedReply::silence());
    ScriptedMailServer second;
    second.answer(MailStage::kEhlo, ScriptedReply::silence());
    useSecond("1-127.0.0.2", 1);
    set({"Global.Callhome.NF-SMTPAddr1=3-localhost", "Global.Callhome.SMTPPort1=" + std::to_string(second.port())});

    const auto begin = Clock::now();
    const Outcome result = run({"doctor", "--timeout", "3"});

    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(4));
    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_THAT(result.err, HasSubstr("switchctl: " + serverText() + ": waiting for the greeting\n"));
    EXPECT_THAT(result.err, HasSubstr(": waiting for the reply to EHLO\n"));
    EXPECT_THAT(result.out, StartsWith("CallHome cannot send. What to mend, in this order:\n"
                                       "  1. waiting for the greeting of "));
    EXPECT_THAT(result.out, HasSubstr(" for 3 s of 300\n"));
}

TEST_F(Doctor, ofTwoServersOneOfWhichWorksSaysThatItCanSend) {
    ScriptedMailServer second(ScriptedMailServer::Family::kIPv6);
    useSecond("2-::1", second.port());
    server_.refuseConnections();

    const Outcome result = run({"doctor"});

    EXPECT_THAT(result.out, StartsWith("CallHome can send.\nSomething is failing. What to mend, in this order:\n"
                                       "  1. the mail server 127.0.0.1:"));
    EXPECT_THAT(result.out, HasSubstr("second mail server [::1]:"));
    EXPECT_EQ(count(second.received(0), "RCPT TO:"), 3u);
}

TEST_F(Doctor, staysInStepWithRepliesThatComeOneByteAtATime) {
    server_.answerRecipient("c@d", ScriptedReply::line("550 no such user").oneByteAtATime());
    reply(MailStage::kEhlo, ScriptedReply::bytes("250-mail\r\n250 HELP\r\n").oneByteAtATime());

    const Outcome result = run({"doctor", "--json"});

    EXPECT_THAT(result.out, HasSubstr("\"asked\":\"RCPT TO:<c@d>\",\"profile\":\"Operators\",\"outcome\":\"refused\","
                                      "\"words\":\"550 no such user\""));
    EXPECT_THAT(result.out, HasSubstr("\"asked\":\"RCPT TO:<e@f>\",\"profile\":\"Night\",\"outcome\":\"passed\""));
    EXPECT_THAT(result.out, HasSubstr("\"inPieces\":true"));
    EXPECT_THAT(result.out, HasSubstr("may take a refused mail for a delivered one"));
}

TEST_F(Doctor, staysInStepWithAReplyWhoseRestWaitsForTheNextCommand) {
    reply(MailStage::kEhlo, ScriptedReply::bytes("250-mail\r\n250 HELP\r\n").holdFrom(10));
    server_.answerRecipient("c@d", ScriptedReply::line("550 no such user"));

    const Outcome result = run({"doctor", "--json"});

    EXPECT_THAT(result.out,
                HasSubstr("\"asked\":\"RCPT TO:<c@d>\",\"profile\":\"Operators\",\"outcome\":\"refused\","));
    EXPECT_THAT(result.out, HasSubstr("\"asked\":\"RSET\",\"profile\":\"\",\"outcome\":\"passed\""));
    EXPECT_THAT(result.out, HasSubstr("\"inPieces\":true"));
}

TEST_F(Doctor, believesAServerMoreThanTheLogOfItsFailures) {
    happened(orv_log::kSendFailed, "127.0.0.1", server_.port(), "Connect Error", "Connection refused", "");
    happened(orv_log::kRecipientGivenUp, "Operators", "a@b", "127.0.0.1", server_.port());
    EXPECT_THAT(status(), HasSubstr("cannot be reached"));

    EXPECT_THAT(run({"doctor"}).out, StartsWith("CallHome can send.\ncomponents "));
}

TEST_F(Doctor, presentsTheSwitchByItsNextNameWhereOneIsRefused) {
    set({"Global.Network.DNSClientEnable=True", "Global.Network.DNSLocalHostname=3-localhost"});
    server_.answerOnce(MailStage::kEhlo, ScriptedReply::line("550 not you"));
    server_.answerOnce(MailStage::kHelo, ScriptedReply::line("550 not you"));

    EXPECT_EQ(run({"doctor"}).status, ExitStatus::DONE);

    EXPECT_THAT(server_.received(0), StartsWith("EHLO localhost"));
    EXPECT_THAT(server_.received(0), HasSubstr("\r\nEHLO [192.0.2.9]\r\nMAIL FROM:"));
}

TEST_F(Doctor, asksNoFurtherThanItHasASender) {
    set({"Global.Callhome.FromAddr=<undefined>"});
    condition_ = "0x37";

    run({"doctor"});

    EXPECT_THAT(server_.received(0), Not(HasSubstr("MAIL")));
}

}  // namespace
