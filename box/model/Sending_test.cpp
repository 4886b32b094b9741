#include "box/model/ModelFixture.h"

namespace model {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Sending : public ModelFixture {
protected:
    // Seconds until the next connect, and to whom.
    std::pair<unsigned, std::string> nextTry() {
        for (unsigned seconds = 1; seconds < 4000; ++seconds) {
            tick();
            if (model_.wire().kind == WireStep::kConnect) {
                return {seconds, model_.wire().server.address};
            }
        }
        return {0, "nobody"};
    }
};

TEST_F(Sending, speaksTheDialogueOfOneMail) {
    run();
    event("Fan 2 has failed");
    EXPECT_EQ(model_.wire().kind, WireStep::kNothing);
    tick();
    EXPECT_EQ(model_.wire().server.address, "192.0.2.1");
    EXPECT_EQ(model_.wire().server.port, 25u);

    EXPECT_EQ(
        play(),
        "EHLO [192.168.0.1]\r\nMAIL FROM:<sw@x.example>\r\nRCPT TO:<a@x.example>\r\nDATA\r\n"
        "Date: Tue, 14  Nov  2023  22:13:22  +0000\r\nFrom: sw@x.example\r\nBcc:  \r\n"
        "Subject: [CallHome: Ops] lab\r\n\r\n\r\n------------    Event Details\r\nSwitchName:     sw1\r\n"
        "SwitchIP:       192.168.0.1\r\nSwitchWWN:      10:00\r\nText:           Fan 2 has failed\r\n"
        "ID:             0001.0002\r\nTime:           Tue Nov 14 22:13:20.123 UTC 2023\r\nLevel:          Alarm\r\n"
        "\r\n.\r\nQUIT\r\n");
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_EQ(model_.wire().kind, WireStep::kNothing);
}

TEST_F(Sending, startsTheNextMailAsSoonAsTheOneBeforeIsDone) {
    run();
    event("one");
    event("two");
    tick();
    play();
    EXPECT_EQ(model_.wire().kind, WireStep::kConnect);
}

TEST_F(Sending, waitsLongerAfterEveryFailureWithOneServer) {
    run();
    event("one");
    tick();
    for (const unsigned seconds : {5u, 300u, 600u, 1800u, 3600u, 3600u}) {
        failToConnect();
        EXPECT_EQ(nextTry(), std::pair(seconds, std::string("192.0.2.1")));
    }
}

TEST_F(Sending, usesEveryWaitTwiceWithTwoServers) {
    addSecondServer();
    run();
    event("one");
    tick();
    std::vector<std::pair<unsigned, std::string>> tries;
    for (int failure = 0; failure < 10; ++failure) {
        failToConnect();
        tries.push_back(nextTry());
    }
    const std::string one = "192.0.2.1", two = "192.0.2.2";
    EXPECT_THAT(tries, ElementsAre(std::pair(5, two), std::pair(5, one), std::pair(300, two), std::pair(300, one),
                                   std::pair(600, two), std::pair(600, one), std::pair(1800, two), std::pair(1800, one),
                                   std::pair(3600, two), std::pair(3600, one)));
}

TEST_F(Sending, tellsTheFirstFailureOfARunAndTheRecovery) {
    run();
    event("one");
    tick();
    failToConnect();
    EXPECT_THAT(told(),
                ElementsAre("Critical protocol failure with SMTP server",
                            "Encountered failure communicating with SMTP server=192.0.2.1, port=25, Reason=[Connect "
                            "Error], Description=[Connection refused], Response=[]",
                            "Will retry sending via SMTP server=192.0.2.1, port=25, after 5 seconds"));
    nextTry();
    failToConnect();
    EXPECT_THAT(told(), Not(Contains("Critical protocol failure with SMTP server")));
    nextTry();
    play();
    EXPECT_THAT(told(), ElementsAre("Successful recovery of SMTP communications"));
}

TEST_F(Sending, cancelsTheRetryOfAnEmptyQueue) {
    run();
    event("one");
    tick();
    failToConnect();
    model_.clearQueue(now_, 1);
    forget();
    tick();
    EXPECT_THAT(told(), ElementsAre("Message queue is empty, cancelling attempts to retry sending last message"));
    event("two");
    EXPECT_EQ(nextTry().first, 1u);
}

TEST_F(Sending, armsNoRetryWithoutAValidServer) {
    run();
    event("one");
    tick();
    set("Global.Callhome.NF-SMTPAddr", "0-");
    model_.profileChange(now_, 1);
    forget();
    failToConnect();
    EXPECT_THAT(told(), Contains(HasSubstr("will not retry sending messages until a valid SMTP  address")));
    EXPECT_EQ(nextTry().first, 0u);
    set("Global.Callhome.NF-SMTPAddr", "1-192.0.2.9");
    model_.profileChange(now_, 1);
    EXPECT_EQ(nextTry(), std::pair(1u, std::string("192.0.2.9")));
}

TEST_F(Sending, publishesTheActiveServer) {
    addSecondServer();
    set("Global.Callhome.NF-SMTPAddr1", "3-mail.example");
    run();
    model_.changeOver(now_, 3);
    EXPECT_THAT(model_.takeWrites(), ElementsAre(AttributeWrite{"Oper.Callhome.NF-ActiveSMTPAddr", "3-mail.example"},
                                                 AttributeWrite{"Oper.Callhome.ActiveSMTPAddr", "00000000"},
                                                 AttributeWrite{"Oper.Callhome.ActiveSMTPPort", "25"}));
    EXPECT_THAT(model_.takeResponses(), ElementsAre(Response{105, word(3) + word(0)}));
}

TEST_F(Sending, refusesToChangeOverToNoServer) {
    run();
    model_.changeOver(now_, 3);
    EXPECT_THAT(model_.takeResponses(), ElementsAre(Response{105, word(3) + word(7)}));
}

TEST_F(Sending, triesARecipientThatWasPutOffOnceMoreAtTheOtherServer) {
    addSecondServer();
    setRecipients({"a@x.example", "b@x.example", "c@x.example"});
    run();
    event("one");
    tick();
    play(recipients({{"b@x.example", "450 later\r\n"}, {"c@x.example", "550 no\r\n"}}));
    EXPECT_THAT(
        told(),
        ElementsAre(
            "CallHome message send for profile Ops to recipient b@x.example failed on SMTP server 192.0.2.1, port 25. "
            "Retry will be attempted.",
            "Profile Ops, b@x.example via SMTP Server 192.0.2.1/25, SMTP error: 450 later",
            "CallHome message send for profile Ops to recipient c@x.example failed on SMTP server 192.0.2.1, port 25. "
            "Retry will not be attempted, ignoring recipient.",
            "Profile Ops, c@x.example via SMTP Server 192.0.2.1/25, SMTP error: 550 no",
            "Will retry sending via SMTP server=192.0.2.2, port=25"));

    EXPECT_EQ(model_.wire().server.address, "192.0.2.2");
    const std::string said = play(recipients({{"b@x.example", "450 later\r\n"}}));
    EXPECT_THAT(said, HasSubstr("RCPT TO:<b@x.example>\r\nRSET\r\nQUIT\r\n"));
    EXPECT_THAT(said, Not(HasSubstr("c@x.example")));
    EXPECT_THAT(told(),
                ElementsAre(HasSubstr("did not accept any recipients from profile Ops"),
                            HasSubstr("b@x.example failed on SMTP server 192.0.2.2, port 25. Retry failed, ignoring"),
                            HasSubstr("SMTP error: 450 later"), HasSubstr("c@x.example failed"),
                            "Profile Ops, c@x.example via SMTP Server 192.0.2.2/25, SMTP error: "));
    EXPECT_EQ(entries(List::kSend), 0u);
}

TEST_F(Sending, forgetsWhoWasPutOffWhenTheMailDoesNotLeave) {
    setRecipients({"a@x.example", "b@x.example"});
    run();
    event("one");
    tick();
    play([](const std::string& said) {
        return said.starts_with("RCPT TO:<b") ? "450 later\r\n" : said == "DATA\r\n" ? "451 no\r\n" : "";
    });
    const std::vector<std::string> expected{"a@x.example", "b@x.example"};
    EXPECT_EQ(model_.queue()->list(List::kSend).front().message.envelopes[0].recipients, expected);
}

TEST_F(Sending, saysGoodbyeAfterARefusalButNotBeforeItIsKnown) {
    run();
    event("one");
    tick();
    EXPECT_EQ(play([](const std::string& said) { return said.empty() ? "554 no\r\n" : ""; }), "");
    EXPECT_THAT(told(), Contains(HasSubstr("Reason=[SMTP RESPONSE Error], Description=[SMTP server error Response], "
                                           "Response=[554 no]")));
    nextTry();
    EXPECT_EQ(play([](const std::string& said) { return said.starts_with("MAIL") ? "451 no\r\n" : ""; }),
              "EHLO [192.168.0.1]\r\nMAIL FROM:<sw@x.example>\r\nQUIT\r\n");
}

TEST_F(Sending, saysNothingMoreToAServerThatIsGone) {
    run();
    event("one");
    tick();
    model_.connected(now_);
    model_.silent(now_);
    EXPECT_EQ(model_.wire().kind, WireStep::kNothing);
    EXPECT_THAT(told(), Contains(HasSubstr("Reason=[Socket Closed Error], Description=[Connection timed out]")));
}

TEST_F(Sending, offersAllItsNamesToAServerThatRefusesThem) {
    set("Global.Network.DNSClientEnable", "True");
    set("Global.Network.Eth.0.IPv6IPAddress", "2001:db8::1");
    model_.setName("switch", "switch.example.net");
    run();
    event("one");
    tick();
    EXPECT_EQ(play([](const std::string& said) { return said.empty() ? "220 hi\r\n" : "500 no\r\n"; }),
              "EHLO switch.example.net\r\nHELO switch.example.net\r\nEHLO [192.168.0.1]\r\nHELO [192.168.0.1]\r\n"
              "EHLO [IPv6:2001:db8::1]\r\nHELO [IPv6:2001:db8::1]\r\n");
}

TEST_F(Sending, stopsAfterTheDialogueUnderWay) {
    run();
    event("one");
    event("two");
    tick();
    model_.stop(now_);
    EXPECT_FALSE(model_.over());
    play();
    EXPECT_TRUE(model_.over());
    EXPECT_EQ(file("send/m0"), "none");
    EXPECT_NE(file("send/m1"), "none");
}

TEST_F(Sending, servesThePutOffRecipientsOfTheMessageUnderWayWhenItIsStopped) {
    setRecipients({"a@x.example", "b@x.example"});
    run();
    event("one");
    event("two");
    tick();
    model_.stop(now_);
    play([](const std::string& said) { return said.starts_with("RCPT TO:<b") ? "450 later\r\n" : ""; });
    EXPECT_FALSE(model_.over());
    play();
    EXPECT_TRUE(model_.over());
    EXPECT_EQ(file("send/m0"), "none");
    EXPECT_NE(file("send/m1"), "none");
}

}  // namespace
}  // namespace model
