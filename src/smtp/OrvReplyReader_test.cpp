// Replies as servers really send them, and as no server should.
#include "testing/smtp/PlayedDialogueFixture.h"

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr std::pair<MailStage, const char*> kReplies[] = {
    {MailStage::kGreeting, "220-mx.example ESMTP\r\n220-no spam\r\n220 ready\r\n"},
    {MailStage::kEhlo, "250-mx.example\r\n250-SIZE 100000\r\n250-8BITMIME\r\n250 HELP\r\n"},
    {MailStage::kMail, "250-2.1.0\r\n250 ok\r\n"},
    {MailStage::kRcpt, "251 will forward\r\n"},
    {MailStage::kData, "354-go\r\n354 on\r\n"},
    {MailStage::kEndOfData, "250-2.0.0\r\n250 taken\r\n"},
    {MailStage::kQuit, "221-bye\r\n221 now\r\n"},
};

class OrvReplyReaderTest : public PlayedDialogueTest {
protected:
    OrvReplyReaderTest() {
        message_->Text = "L\u00FCfter";
        addEnvelope(*message_, "noc", {"a@x"}, "ShortText");
    }
    void answerBytes(MailStage stage, const std::string& bytes) {
        server_.script.set(stage, ScriptedReply::bytes(bytes));
    }
    void answerAll() {
        for (const auto& [stage, bytes] : kReplies) {
            answerBytes(stage, bytes);
        }
    }
    void expectDelivered(const std::string& what) {
        message_->resetRecipients();
        server_.mails.clear();
        EXPECT_EQ(run(), 0) << what;
        ASSERT_THAT(server_.mails, SizeIs(1)) << what;
        EXPECT_THAT(message_->Envelopes[0]->Recipients, ElementsAre("!a@x")) << what;
        EXPECT_THAT(server_.received.back(), HasSubstr(" BODY=8BITMIME\r\n")) << what;
        EXPECT_THAT(reporter_.lines, IsEmpty()) << what;
    }
    void expectFailed(const std::string& description, const std::string& what) {
        EXPECT_EQ(run(), -1) << what;
        EXPECT_EQ(failure_.reason, "SMTP RESPONSE Error") << what;
        EXPECT_EQ(failure_.description, description) << what;
        EXPECT_THAT(message_->Envelopes[0]->Recipients, ElementsAre("a@x")) << what;
        EXPECT_EQ(server_.received.back().find("QUIT"), std::string::npos) << what;
    }
};

constexpr char kNotUnderstood[] = "SMTP server reply is not understood";
constexpr char kOutOfTurn[] = "SMTP server spoke out of turn";

}  // namespace

TEST_F(OrvReplyReaderTest, takesARepliesLinesForOneReply) {
    answerAll();
    expectDelivered("whole");
}

TEST_F(OrvReplyReaderTest, doesNotDependOnWhereAReplyIsSplit) {
    answerAll();
    for (const auto& [stage, bytes] : kReplies) {
        const std::string reply = bytes;
        for (std::size_t first = 1; first < reply.size(); ++first) {
            server_.script.set(stage, ScriptedReply::bytes(reply).splitAt({first}, std::chrono::seconds(1)));
            expectDelivered(reply + " at " + std::to_string(first));
        }
        for (std::size_t first = 1; first + 7 < reply.size(); first += 3) {
            server_.script.set(stage, ScriptedReply::bytes(reply).splitAt({first, first + 5, first + 7}));
            expectDelivered(reply + " three times from " + std::to_string(first));
        }
        server_.script.set(stage, ScriptedReply::bytes(reply).oneByteAtATime());
        expectDelivered(reply + " byte by byte");
        answerBytes(stage, reply);
    }
}

TEST_F(OrvReplyReaderTest, readsEveryRefusalWholeWhereverItIsSplit) {
    const std::string reply = "550-5.7.1 no\r\n550-nor this\r\n550 never\r\n";
    for (std::size_t at = 1; at < reply.size(); ++at) {
        message_->resetRecipients();
        server_.script.set(MailStage::kEndOfData, ScriptedReply::bytes(reply).splitAt({at}));
        EXPECT_EQ(run(), 0);
        EXPECT_THAT(message_->Envelopes[0]->Recipients, ElementsAre("#a@x")) << at;
        EXPECT_THAT(reporter_.lines.back(), HasSubstr("SMTP error: 550-5.7.1 no\r\n550-nor this\r\n550 never"));
    }
}

TEST_F(OrvReplyReaderTest, takesCodesWithoutATextLineFeedsAloneAndZeroBytes) {
    answerAll();
    answerBytes(MailStage::kMail, "250\r\n");
    answerBytes(MailStage::kRcpt, "250\n");
    answerBytes(MailStage::kEndOfData, std::string("250 o\0k\r\n", 9));
    expectDelivered("odd");
}

TEST_F(OrvReplyReaderTest, endsWithAServerWhoseReplyIsNone) {
    for (const char* bytes :
         {"hello\r\n", "\r\n", "25\r\n", "2 5 0\r\n", "250ok\r\n", "150 wait\r\n", "650 what\r\n",
          "250-ok\r\n251 ok\r\n", "250-ok\r\n550 no\r\n", "250-ok\r\nok\r\n", "\xFF\xFE", "354 go\r\n"}) {
        answerBytes(MailStage::kMail, bytes);
        expectFailed(kNotUnderstood, bytes);
    }
}

TEST_F(OrvReplyReaderTest, endsWithAReplyThatBeginsWithAZeroByte) {
    answerBytes(MailStage::kMail, std::string("\0", 1) + "250 ok\r\n");
    expectFailed(kNotUnderstood, "zero");
}

TEST_F(OrvReplyReaderTest, endsWithAServerThatSaysMoreThanItWasAsked) {
    for (const auto& [stage, bytes] : kReplies) {
        if (stage == MailStage::kQuit || stage == MailStage::kEndOfData) {
            continue;  // what comes then ends what has come to its end
        }
        answerAll();
        const std::string reply = bytes;
        answerBytes(stage, reply + "250 more\r\n");
        expectFailed(kOutOfTurn, reply);
        EXPECT_EQ(failure_.response, "250 more");
        server_.script.set(
            stage,
            ScriptedReply::bytes(reply + "421 closing\r\n").splitAt({reply.size()}, std::chrono::milliseconds(0)));
        expectFailed(kOutOfTurn, reply);
        EXPECT_EQ(failure_.response, "421 closing");
        answerBytes(stage, reply + "2");
        expectFailed(kOutOfTurn, reply);
    }
}

TEST_F(OrvReplyReaderTest, keepsAMailThatWasTakenWhateverIsSaidBehindIt) {
    answerAll();
    answerBytes(MailStage::kEndOfData, "250 taken\r\n550 no\r\n");
    expectDelivered("surplus");
}

TEST_F(OrvReplyReaderTest, doesNotReadForEver) {
    for (const std::string& line : {std::string("250-more\r\n"), std::string("250 "), std::string("250-x")}) {
        std::string megabyte;
        while (megabyte.size() < 1'000'000) {
            megabyte += line;
        }
        answerBytes(MailStage::kMail, megabyte);
        EXPECT_EQ(run(), -1);
        EXPECT_LT(failure_.response.size(), 5000u);
    }
}

TEST_F(OrvReplyReaderTest, hasOneLimitForAWholeReply) {
    std::string line = "250 ";
    line.append(1000, 'x');
    server_.script.set(MailStage::kMail, ScriptedReply::line(line).splitAt({1, 2, 3}, std::chrono::seconds(120)));

    EXPECT_EQ(run(), -1);

    EXPECT_EQ(failure_.reason, "Socket Closed Error");
    EXPECT_EQ(failure_.description, "Connection timed out");
    EXPECT_EQ(system_.passed(), std::chrono::seconds(300));
}

TEST_F(OrvReplyReaderTest, passesOverWhatIsOfferedBesideIt) {
    answerAll();
    answerBytes(MailStage::kEhlo, "250-mx\r\n250-STARTTLS\r\n250-AUTH PLAIN LOGIN\r\n250-8BITMIME\r\n250 \r\n");
    expectDelivered("STARTTLS");
}

TEST_F(OrvReplyReaderTest, tellsTheOperatorThatTheServerWantsToKnowWhoWeAre) {
    const std::string reply = "530 5.7.0 Authentication required";
    for (const MailStage stage : {MailStage::kMail, MailStage::kRcpt, MailStage::kData}) {
        answerAll();
        server_.script.set(stage, ScriptedReply::line(reply));
        EXPECT_EQ(run(), -1);
        EXPECT_EQ(failure_.response, reply);
        EXPECT_THAT(message_->Envelopes[0]->Recipients, ElementsAre("a@x"));
    }
}
