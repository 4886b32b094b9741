// Faults of mail servers and of the way to them: doctor names each by asking, and says what to do.
#include "testing/switchctl/DoctorTest.h"

namespace {

using std::chrono::milliseconds;

// Longer than a reader that the machine keeps waiting takes to read the first piece.
constexpr milliseconds LATER(250);

const SeededFault SERVER_FAULTS[] = {
    {"no greeting", [](DoctorTest& a) { a.reply(MailStage::kGreeting, ScriptedReply::silence()); }, "server-silent",
     "waiting for the greeting of 127.0.0.1:", "--smtp KIND", 1, "1"},
    {"no reply to EHLO", [](DoctorTest& a) { a.reply(MailStage::kEhlo, ScriptedReply::silence()); }, "server-silent",
     "the reply to EHLO [192.0.2.9]", "--smtp KIND", 1, "1"},
    {"no reply to a recipient", [](DoctorTest& a) { a.reply(MailStage::kRcpt, ScriptedReply::silence()); },
     "server-silent", "the reply to RCPT TO:<a@b>", "--smtp KIND", 1, "1"},
    {"nobody listens", [](DoctorTest& a) { a.server().refuseConnections(); }, "server-unreachable",
     "Connection refused; the machine is there, and nothing listens", "start the mail server"},
    {"a name that is none", [](DoctorTest& a) { a.set({"Global.Callhome.NF-SMTPAddr=3-no such host"}); },
     "server-unresolved", "the name of the mail server no such host:", "or mend the name service", 1, "3"},
    {"an address that is none", [](DoctorTest& a) { a.set({"Global.Callhome.NF-SMTPAddr=1-999.1.1.1"}); },
     "server-address", "999.1.1.1", "--smtp KIND"},
    {"no way there", [](DoctorTest& a) { a.set({"Global.Callhome.NF-SMTPAddr=1-255.255.255.255"}); },
     "server-unroutable", "no way leads from the switch to the mail server 255.255.255.255:", "ip route"},
    {"a web server", [](DoctorTest& a) { a.say(MailStage::kGreeting, "HTTP/1.1 400 Bad Request"); }, "server-none",
     "HTTP/1.1 400 Bad Request", "--smtp KIND"},
    {"a secure shell", [](DoctorTest& a) { a.say(MailStage::kGreeting, "SSH-2.0-Server_9"); }, "server-none",
     "SSH-2.0-Server_9", "--smtp KIND"},
    {"bytes that are no text",
     [](DoctorTest& a) { a.reply(MailStage::kGreeting, ScriptedReply::bytes("\xff\xfb\x01\xff\xfb\x03")); },
     "server-none", "is no mail server", "--smtp KIND"},
    {"a greeting that turns away", [](DoctorTest& a) { a.say(MailStage::kGreeting, "554 no reverse name"); },
     "server-declines", "554 no reverse name", "let the mail server serve the switch"},
    {"a server with too many guests", [](DoctorTest& a) { a.say(MailStage::kGreeting, "421 too many connections"); },
     "server-busy", "421 too many connections", "room, load and limits"},
    {"one that hangs up at once", [](DoctorTest& a) { a.reply(MailStage::kGreeting, ScriptedReply::hangUp()); },
     "server-breaks-off", "instead of sending the greeting", "mail server's log"},
    {"one that hangs up at EHLO", [](DoctorTest& a) { a.reply(MailStage::kEhlo, ScriptedReply::hangUp()); },
     "server-breaks-off", "the reply to EHLO", "mail server's log"},
    {"one that breaks off at a recipient",
     [](DoctorTest& a) { a.reply(MailStage::kRcpt, ScriptedReply().thenReset()); }, "server-breaks-off",
     "RCPT TO:<a@b>", "mail server's log"},
    {"a refused name of the switch",
     [](DoctorTest& a) {
         a.say(MailStage::kEhlo, "550 who are you");
         a.say(MailStage::kHelo, "550 who are you");
     },
     "server-declines", "550 who are you", "let the mail server serve the switch"},
    {"a login wanted", [](DoctorTest& a) { a.say(MailStage::kMail, "530 5.7.0 Authentication required"); },
     "login-wanted", "530 5.7.0 Authentication required", "without a login"},
    {"a login wanted for recipients",
     [](DoctorTest& a) { a.say(MailStage::kRcpt, "550 5.7.1 Authentication required"); }, "login-wanted",
     "550 5.7.1 Authentication required", "without a login"},
    {"encryption wanted", [](DoctorTest& a) { a.say(MailStage::kMail, "530 Must issue a STARTTLS command first"); },
     "encryption-wanted", "STARTTLS", "as they are"},
    {"a refused sender", [](DoctorTest& a) { a.say(MailStage::kMail, "550 not from you"); }, "sender-refused",
     "refuses the sender sw@example.com: ", "switchctl callhome setup --from ADDRESS"},
    {"a server whose disk is full", [](DoctorTest& a) { a.say(MailStage::kMail, "452 4.3.1 Insufficient storage"); },
     "server-busy", "452 4.3.1 Insufficient storage", "room, load and limits"},
    {"a recipient who is none", [](DoctorTest& a) { a.sayOf("c@d", "550 no such user"); }, "recipient-refused",
     "refuses c@d of the profile Operators: ", "Global.CallhomeDB.Profile.0.EmailList.1=ADDRESS"},
    {"a recipient of the second profile", [](DoctorTest& a) { a.sayOf("e@f", "550 no such user"); },
     "recipient-refused", "refuses e@f of the profile Night: ", "Global.CallhomeDB.Profile.1.EmailList.0=ADDRESS"},
    {"greylisting", [](DoctorTest& a) { a.sayOf("a@b", "451 4.7.1 Greylisted, come back later"); }, "recipient-delayed",
     "puts a@b of the profile Operators off", "no greylisting"},
    {"no relaying", [](DoctorTest& a) { a.sayOf("a@b", "554 5.7.1 <a@b>: Relay access denied"); }, "relay-denied",
     "hands nothing on to a@b of the profile Operators", "let the mail server relay"},
    {"every recipient refused", [](DoctorTest& a) { a.say(MailStage::kRcpt, "550 no"); }, "recipients-all-refused",
     "refuses every recipient of every profile", "see the recipients"},
    {"a server that goes while it is asked", [](DoctorTest& a) { a.sayOf("c@d", "421 going down"); }, "server-busy",
     "421 going down", "room, load and limits"},
    {"a greeting in pieces",
     [](DoctorTest& a) { a.reply(MailStage::kGreeting, ScriptedReply::line("220 mail").splitAt({5}, LATER)); },
     "replies-in-pieces", "sends its greeting in 2 pieces: orvApp takes \\\"220 m\\\" for the whole reply",
     "send each reply at once"},
    {"a reply of several lines in pieces",
     [](DoctorTest& a) {
         a.reply(MailStage::kEhlo, ScriptedReply::bytes("250-mail\r\n250 HELP\r\n").splitAt({10}, LATER));
     },
     "replies-in-pieces", "sends its reply to EHLO [192.0.2.9] in 2 pieces", "send each reply at once"},
    {"a refusal in pieces",
     [](DoctorTest& a) { a.server().answerRecipient("a@b", ScriptedReply::line("550 no").splitAt({3}, LATER)); },
     "recipient-refused", "refuses a@b of the profile Operators: \\\"550 no\\\"", "EmailList.0=ADDRESS"},
    {"replies that nobody asked for",
     [](DoctorTest& a) { a.reply(MailStage::kMail, ScriptedReply::bytes("250 ok\r\n250 again\r\n")); },
     "replies-in-pieces", "sends more than it is asked for with its reply to MAIL FROM:<sw@example.com>",
     "send each reply at once"},
    {"a limit below the mails' size",
     [](DoctorTest& a) {
         a.set({"Global.CallhomeDB.Profile.0.MaxSize=50000"});
         a.reply(MailStage::kEhlo, ScriptedReply::bytes("250-mail\r\n250-SIZE 100000\r\n250 HELP\r\n"));
     },
     "mail-size-limit", "takes mails of at most 100000 bytes, and those of the profile Night may have 2000000",
     "Global.CallhomeDB.Profile.1.MaxSize=100000"},
    {"a second server that is dead", [](DoctorTest& a) { a.useSecond("1-127.0.0.2", 1); }, "server-unreachable",
     "the mail server 127.0.0.2:1 cannot be reached", "--smtp2 KIND"},
    {"one server for both", [](DoctorTest& a) { a.useSecond("1-127.0.0.1", a.server().port()); }, "servers-same",
     "both mail servers are at 127.0.0.1", "--smtp2 KIND"},
    {"a mail that was too large",
     [](DoctorTest& a) {
         a.waiting(1);
         a.happened(orv_log::kSendFailed, "127.0.0.1", a.server().port(), "SMTP RESPONSE Error", "x",
                    "552 5.3.4 too large");
     },
     "mail-too-large", "552 5.3.4 too large", "let the mail server take larger mails"},
    {"a server that works again",
     [](DoctorTest& a) {
         a.waiting(1);
         a.happened(orv_log::kSendFailed, "127.0.0.1", a.server().port(), "Connect Error", "Connection refused", "");
         a.happened(orv_log::kRetryLater, "127.0.0.1", a.server().port(), 300);
     },
     "server-works-again", "takes mails now", "switchctl callhome profile-change"},
};

class DoctorOfServers : public SeededFaults {};

TEST_P(DoctorOfServers, namesTheFaultAndTheRemedy) {
    expectFound();
    EXPECT_THAT(server_.mailsTaken(), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Seeded, DoctorOfServers, testing::ValuesIn(SERVER_FAULTS), nameOf);

}  // namespace
