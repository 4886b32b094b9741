// What a dialogue makes of a mail server that says anything at all, nothing, too much, or goes away: it comes to an
// end, and the recipient's state tells the truth.
#include "smtp/OrvSendDialogue.h"
#include "testing/smtp/DialogueFixture.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <random>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// What becomes of a mail for one recipient.
enum class Outcome { kDelivered, kFailed, kWaits, kGivenUp };

struct Step {
    MailStage stage;
    const char* name;
    const char* usual;  // what the server says when all is well
};

constexpr Step kGreeting{MailStage::kGreeting, "greeting", "220 hello"};
constexpr Step kEhlo{MailStage::kEhlo, "EHLO", "250 ok"};
constexpr Step kHelo{MailStage::kHelo, "HELO", "250 ok"};
constexpr Step kMail{MailStage::kMail, "MAIL", "250 ok"};
constexpr Step kRcpt{MailStage::kRcpt, "RCPT", "250 ok"};
constexpr Step kData{MailStage::kData, "DATA", "354 go ahead"};
constexpr Step kEnd{MailStage::kEndOfData, "end of data", "250 ok"};
constexpr Step kRset{MailStage::kRset, "RSET", "250 ok"};
constexpr Step kQuit{MailStage::kQuit, "QUIT", "221 bye"};
constexpr Step kSteps[] = {kGreeting, kEhlo, kHelo, kMail, kRcpt, kData, kEnd, kRset, kQuit};

class OrvSendDialogueBadServer : public DialogueTest {
protected:
    // The server answers this step so, and the others in such a way that the dialogue gets there.
    void script(const Step& step, const ScriptedReply& reply) {
        for (const Step& each : kSteps) {
            server_.answer(each.stage, line(each.usual));
        }
        if (step.stage == MailStage::kHelo) {
            server_.answer(MailStage::kEhlo, line("500 what"));
        }
        if (step.stage == MailStage::kRset) {
            server_.answer(MailStage::kRcpt, line("550 nobody"));
        }
        server_.answer(step.stage, reply);
    }

    void shortenLimits(std::chrono::milliseconds limit = std::chrono::milliseconds(100)) {
        timeouts_.greeting = timeouts_.command = timeouts_.data = timeouts_.text = timeouts_.dataEnd = limit;
    }

    // Sends one mail. A failure leaves no trace in the message and is reported once.
    Outcome deliver() {
        message_ = portEvent();
        reporter_.lines.clear();
        const OrvCHEnvelope& noc = envelope("noc", {"a@example.com"});
        if (run() != 0) {
            EXPECT_THAT(noc.Recipients, ElementsAre("a@example.com"));
            EXPECT_FALSE(noc.Done);
            EXPECT_THAT(reporter_.lines, ElementsAre(kCriticalLine));
            return Outcome::kFailed;
        }
        const std::string& recipient = noc.Recipients.at(0);
        EXPECT_EQ(recipient.substr(1), "a@example.com");
        EXPECT_EQ(noc.Done, recipient[0] != '$');
        EXPECT_EQ(reporter_.lines.empty(), recipient[0] == '!');
        return recipient[0] == '!' ? Outcome::kDelivered : recipient[0] == '$' ? Outcome::kWaits : Outcome::kGivenUp;
    }

    // What a reply that begins so makes of the mail when it answers the step.
    static Outcome outcomeOf(const Step& step, char first) {
        const bool positive = first == '2' || first == '3';
        switch (step.stage) {
            case MailStage::kEhlo:  // HELO is asked for then
            case MailStage::kQuit:
                return Outcome::kDelivered;
            case MailStage::kRset:
                return Outcome::kGivenUp;
            case MailStage::kRcpt:
                return positive ? Outcome::kDelivered : first == '4' ? Outcome::kWaits : Outcome::kGivenUp;
            case MailStage::kData:  // the server takes a text after a "3" only
                return first == '3' ? Outcome::kDelivered : Outcome::kFailed;
            default:
                return positive ? Outcome::kDelivered : Outcome::kFailed;
        }
    }
};

}  // namespace

TEST_F(OrvSendDialogueBadServer, isJudgedByTheFirstByteOfItsGreetingWhateverThatIs) {
    for (int byte = 0; byte < 256; ++byte) {
        const char first = static_cast<char>(byte);
        script(kGreeting, ScriptedReply::bytes(std::string(1, first) + "\xFF\x80 and so on\r\n"));
        EXPECT_EQ(deliver(), outcomeOf(kGreeting, first)) << byte;
    }
}

TEST_F(OrvSendDialogueBadServer, isJudgedByTheFirstByteOfEachReply) {
    const std::string bytes("\0\t\r\n 012345679<x\x7F\x80\xA7\xC3\xFF", 22);
    for (const Step& step : kSteps) {
        for (const char first : bytes) {
            script(step, ScriptedReply::bytes(std::string(1, first) + std::string("\0\xFF\x01", 3) + "\r\n"));
            EXPECT_EQ(deliver(), outcomeOf(step, first)) << step.name << " " << static_cast<int>(first);
        }
    }
}

// Of a reply without end 1024 bytes are read; the rest answers what the client asks next.
TEST_F(OrvSendDialogueBadServer, maySay100000BytesWithoutALineEnd) {
    struct {
        Step step;
        char first;
        Outcome outcome;
    } const rows[] = {
        {kGreeting, '2', Outcome::kFailed}, {kEhlo, '2', Outcome::kFailed},  {kHelo, '2', Outcome::kFailed},
        {kMail, '2', Outcome::kGivenUp},    {kRcpt, '2', Outcome::kFailed},  {kData, '3', Outcome::kFailed},
        {kEnd, '2', Outcome::kDelivered},   {kRset, '2', Outcome::kGivenUp}, {kQuit, '2', Outcome::kDelivered},
        {kGreeting, '5', Outcome::kFailed}, {kEhlo, '5', Outcome::kFailed},  {kHelo, '5', Outcome::kFailed},
        {kMail, '5', Outcome::kFailed},     {kRcpt, '5', Outcome::kGivenUp}, {kData, '5', Outcome::kFailed},
        {kEnd, '5', Outcome::kFailed},      {kRset, '5', Outcome::kGivenUp}, {kQuit, '5', Outcome::kDelivered},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.step.name) + " " + row.first);
        script(row.step, ScriptedReply::bytes(row.first + std::string(99999, 'x')));

        EXPECT_EQ(deliver(), row.outcome);

        EXPECT_LE(failure_.response.size(), 1024u);
    }
}

// How much of a reply a receive gets is up to the network, so what becomes of the mail is too.
TEST_F(OrvSendDialogueBadServer, maySpeakByteByByte) {
    shortenLimits();
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        script(step, line(step.usual).oneByteAtATime());
        deliver();
    }
}

TEST_F(OrvSendDialogueBadServer, mayHangUpBeforeAndAfterAnyByteOfEachReply) {
    for (const Step& step : kSteps) {
        const std::string reply = std::string(step.usual) + "\r\n";
        for (std::size_t bytes = 0; bytes <= reply.size(); ++bytes) {
            SCOPED_TRACE(std::string(step.name) + " " + std::to_string(bytes));
            script(step, ScriptedReply::bytes(reply.substr(0, bytes)).thenHangUp());

            const Outcome outcome = deliver();

            const bool taken = step.stage == MailStage::kEndOfData && bytes > 0;
            EXPECT_EQ(outcome, step.stage == MailStage::kRset            ? Outcome::kGivenUp
                               : taken || step.stage == MailStage::kQuit ? Outcome::kDelivered
                                                                         : Outcome::kFailed);
        }
    }
}

TEST_F(OrvSendDialogueBadServer, mayBreakTheConnectionOffAtEachStep) {
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        script(step, ScriptedReply().thenReset());
        EXPECT_EQ(deliver(), step.stage == MailStage::kRset   ? Outcome::kGivenUp
                             : step.stage == MailStage::kQuit ? Outcome::kDelivered
                                                              : Outcome::kFailed);
    }
}

TEST_F(OrvSendDialogueBadServer, maySayNothingAtAll) {
    shortenLimits(std::chrono::milliseconds(20));
    for (const Step& step : {kGreeting, kEhlo, kHelo, kMail, kRcpt, kData, kEnd}) {
        SCOPED_TRACE(step.name);
        script(step, ScriptedReply::silence());

        EXPECT_EQ(deliver(), Outcome::kFailed);

        EXPECT_EQ(failure_.reason, "Socket Closed Error");
        EXPECT_EQ(failure_.description, "Connection timed out");
    }
}

// The limit of the last reply is passed on stage: a slow machine would pass a short one of an earlier reply as well.
TEST_F(OrvSendDialogueBadServer, maySayNothingToResetAndQuit) {
    script(kRset, line("250 ok"));
    system_.receiveErrors = {0, 0, 0, 0, EAGAIN};
    EXPECT_EQ(deliver(), Outcome::kGivenUp);

    script(kQuit, line("221 bye"));
    system_.receiveErrors = {0, 0, 0, 0, 0, 0, EAGAIN};
    EXPECT_EQ(deliver(), Outcome::kDelivered);
    EXPECT_THAT(system_.receiveErrors, IsEmpty());
}

TEST_F(OrvSendDialogueBadServer, maySayAnythingToEverything) {
    shortenLimits();
    std::minstd_rand random(20231114);
    const auto below = [&](unsigned bound) { return static_cast<unsigned>(random() % bound); };
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        for (const Step& step : kSteps) {
            std::string bytes(1, "2223345\0x"[below(9)]);
            for (unsigned i = below(40); i > 0; --i) {
                bytes += below(8) == 0 ? '\n' : static_cast<char>(below(256));
            }
            ScriptedReply reply = ScriptedReply::bytes(bytes);
            if (bytes.size() > 1) {
                reply.splitAt({1 + below(static_cast<unsigned>(bytes.size() - 1))});
            }
            server_.answer(step.stage, below(12) == 0 ? reply.thenHangUp() : reply);
        }
        deliver();
    }
}
