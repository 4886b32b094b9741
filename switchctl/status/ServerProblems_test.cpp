// What status finds wrong with mail servers and recipients.
#include "testing/switchctl/FilledEntry.h"
#include "testing/switchctl/HealthyFacts.h"

namespace {

const std::string MINUTE_AGO = "11/14/2023 UTC 22:12:20.000  17 ";  // a minute before NOW

template <typename... Arguments>
void log(StatusFacts& facts, std::int64_t time, const OrvLogEntry<Arguments...>& kind,
         std::type_identity_t<Arguments>... arguments) {
    LogEntry entry;
    entry.level = kind.level;
    entry.number = kind.id;
    entry.component = "OrvApp";
    entry.seconds = time / SECOND;
    entry.text = filledText(kind, arguments...);
    facts.log.take(entry, 1);
}

void trace(StatusFacts& facts, const std::string& text) {
    for (const TraceRecord& record : traceRecords(text)) {
        facts.traces.send.take(record);
    }
}

std::string sentThen(const std::string& command) {
    return MINUTE_AGO + "OrvSMTPClient sendRequest: SMTP Send (incl CRLF) {" + command + "\r\n}\n";
}

std::string gotThen(const std::string& reply) {
    return MINUTE_AGO + "OrvSMTPClient recvResponse: SMTP StatusSMTPResponse (incl CRLF) {" + reply + "\r\n}\n";
}

// The first server fails so, and is to be tried again.
std::function<void(StatusFacts&)> failure(const char* reason, const char* description, const char* response = "",
                                          const std::string& traced = "") {
    return [=](StatusFacts& facts) {
        trace(facts, traced);
        log(facts, NOW - 30 * SECOND, orv_log::kSendFailed, "192.0.2.1", 25, reason, description, response);
        log(facts, NOW - 30 * SECOND, orv_log::kRetryLater, "192.0.2.1", 25, 300);
        facts.queue->waiting = 1;
    };
}

std::function<void(StatusFacts&)> rejection(const char* response, const std::string& traced = "") {
    return failure("SMTP RESPONSE Error", "SMTP server error Response", response, traced);
}

void useBoth(StatusFacts& facts) {
    facts.attributes["Global.Callhome.SMTPEnable1"] = "True";
}

// A message is with the send thread for a minute.
std::function<void(StatusFacts&)> silence(const std::string& traced) {
    return [=](StatusFacts& facts) {
        facts.queue->open = 1;
        facts.traces.opened = NOW - 61 * SECOND;
        trace(facts, traced);
    };
}

// What a server has just made of its greeting.
OutsideFacts askedNow(const std::string& server, VisitStage::Outcome outcome) {
    OutsideFacts outside;
    ServerVisit visit;
    visit.server = server;
    VisitStage greeting;
    greeting.kind = VisitStage::Kind::GREETING;
    greeting.outcome = outcome;
    greeting.milliseconds = 9000;
    visit.stages.push_back(greeting);
    outside.visits.push_back(visit);
    return outside;
}

std::function<void(StatusFacts&)> refused(const char* words) {
    return [=](StatusFacts& facts) {
        log(facts, NOW - 30 * SECOND, orv_log::kRecipientGivenUp, "Ops", "a@b", "192.0.2.1", 25);
        log(facts, NOW - 30 * SECOND, orv_log::kRecipientRefused, "Ops", "a@b", "192.0.2.1", 25, words);
    };
}

const ProblemCase SERVER_PROBLEMS[] = {
    {"a port at which nobody listens",
     failure("Connect Error", "Connection refused"),
     {"blocked server-unreachable"},
     "192.0.2.1:25 cannot be reached: Connection refused"},
    {"a name that is none",
     failure("DNS Hostname Resolve Error", "Name or service not known"),
     {"blocked server-unresolved"}},
    {"a server that closes", failure("Socket Closed Error", "Success"), {"blocked server-breaks-off"}, "it closed it"},
    {"a failure of another kind", failure("Socket Create Error", "No buffer space"), {"blocked server-fails"}},
    {"a server that is none", rejection("HTTP/1.1 400 Bad"), {"blocked server-none"}, "HTTP/1.1 400 Bad"},
    {"a greeting that turns away", rejection("554 go away", gotThen("554 go away")), {"blocked server-declines"}},
    {"a refused EHLO",
     rejection("550 who are you", gotThen("220 x") + sentThen("EHLO [192.0.2.9]") + gotThen("550 who are you")),
     {"blocked server-declines"}},
    {"a refused sender",
     rejection("550 no", gotThen("220 x") + sentThen("MAIL FROM:<sw@example.com>") + gotThen("550 no") +
                             sentThen("QUIT") + gotThen("221")),
     {"blocked sender-refused"},
     "refuses the sender sw@example.com: \"550 no\"",
     "switchctl callhome setup --from ADDRESS"},
    {"a login that is wanted",
     rejection("530 5.7.0 Authentication required",
               sentThen("MAIL FROM:<a>") + gotThen("530 5.7.0 Authentication required")),
     {"blocked login-wanted"}},
    {"encryption that is wanted", rejection("530 Must issue a STARTTLS command first"), {"blocked encryption-wanted"}},
    {"a mail that is too large",
     rejection("552 5.3.4 too big", sentThen(".") + gotThen("552 5.3.4 too big")),
     {"blocked mail-too-large"}},
    {"a mail that was too large and is gone",
     [](StatusFacts& facts) {
         rejection("552 too big")(facts);
         facts.queue->waiting = 0;
     },
     {}},
    {"a refused DATA",
     rejection("554 no", sentThen("DATA") + gotThen("554 no")),
     {"blocked server-refuses"},
     "refuses DATA"},
    {"a refusal without a trace", rejection("554 no"), {"blocked server-refuses"}, "refuses a mail"},
    {"a failure before the settings were read",
     [](StatusFacts& facts) {
         failure("Connect Error", "x")(facts);
         log(facts, NOW - 20 * SECOND, orv_log::kBuildDetailRequest, "Global.Callhome.SMTPGatewayEnable");
     },
     {}},
    {"a failure before the start",
     [](StatusFacts& facts) {
         failure("Connect Error", "x")(facts);
         facts.traces.started = NOW - 10 * SECOND;
     },
     {}},
    {"a server that has taken a mail since",
     [](StatusFacts& facts) {
         failure("Connect Error", "x")(facts);
         log(facts, NOW - 20 * SECOND, orv_log::kRecovered);
     },
     {}},
    {"one that took it without a word in the log",
     [](StatusFacts& facts) {
         log(facts, NOW - 90 * SECOND, orv_log::kSendFailed, "192.0.2.1", 25, "Connect Error", "x", "");
         trace(facts, sentThen(".") + gotThen("250 taken"));
     },
     {}},
    {"a server that fails while the other is not tried yet",
     [](StatusFacts& facts) {
         useBoth(facts);
         failure("Connect Error", "x")(facts);
     },
     {"failing server-unreachable"}},
    {"both servers dead",
     [](StatusFacts& facts) {
         useBoth(facts);
         failure("Connect Error", "x")(facts);
         log(facts, NOW - 25 * SECOND, orv_log::kSendFailed, "192.0.2.2", 25, "Connect Error", "y", "");
     },
     {"blocked server-unreachable", "blocked server-unreachable"}},
    {"one server dead while the other works",
     [](StatusFacts& facts) {
         useBoth(facts);
         log(facts, NOW - 30 * SECOND, orv_log::kSendFailed, "192.0.2.1", 25, "Connect Error", "x", "");
         log(facts, NOW - 30 * SECOND, orv_log::kRetryLater, "192.0.2.2", 25, 5);
         log(facts, NOW - 25 * SECOND, orv_log::kRecovered);
     },
     {"failing server-spare"},
     "the mail server 192.0.2.1:25 has failed, and the other one works",
     "switchctl callhome changeover"},
    {"a retry whose failure is not known",
     [](StatusFacts& facts) {
         log(facts, NOW - 1 * SECOND, orv_log::kRetryLater, "192.0.2.1", 25, 300);
         facts.queue->waiting = 1;
     },
     {"blocked retry-pending"}},
    {"a server that says nothing",
     silence(""),
     {"blocked server-silent"},
     "waiting for the greeting of 192.0.2.1:25 for 61 s of 300"},
    {"a reply that does not come",
     silence(gotThen("220 x") + sentThen("EHLO [192.0.2.9]")),
     {"blocked server-silent"},
     "waiting for the reply to EHLO [192.0.2.9] of 192.0.2.1:25 for 60 s of 300"},
    {"a mail that is not acknowledged",
     silence(sentThen(".")),
     {"blocked server-silent"},
     "the reply to the mail of 192.0.2.1:25 for 60 s of 600"},
    {"a server that says nothing, when the trace does not tell since when",
     [](StatusFacts& facts) {
         facts.queue->open = 1;
         facts.flash.oldestWaiting = NOW - 50 * SECOND;
     },
     {"blocked server-silent"},
     "for 50 s of 300"},
    {"the same in a later try",
     [](StatusFacts& facts) {
         log(facts, NOW - 30 * SECOND, orv_log::kRetryLater, "192.0.2.1", 25, 10);
         log(facts, NOW - 30 * SECOND, orv_log::kSendFailed, "192.0.2.1", 25, "Socket Closed Error", "x", "");
         facts.queue->open = 1;
         facts.flash.oldestWaiting = NOW - 500 * SECOND;
     },
     {"blocked server-silent", "blocked server-breaks-off"},
     "for 20 s of 300"},
    {"a server that answers whoever asks it, and keeps the daemon waiting",
     [](StatusFacts& facts) {
         silence(sentThen("."))(facts);
         facts.outside = askedNow("192.0.2.1:25", VisitStage::Outcome::PASSED);
     },
     {"blocked server-silent"},
     "the reply to the mail of 192.0.2.1:25 for 60 s of 600"},
    {"a server that says nothing to whoever asks it",
     [](StatusFacts& facts) {
         silence("")(facts);
         facts.outside = askedNow("192.0.2.1:25", VisitStage::Outcome::TIMED_OUT);
     },
     {"blocked server-silent"},
     "waiting for the greeting of 192.0.2.1:25 for 9 s of 300"},
    {"a dialogue that goes on", silence(gotThen("220 x")), {}},
    {"a message that was opened just now",
     [](StatusFacts& facts) {
         facts.queue->open = 1;
         facts.traces.opened = NOW - 2 * SECOND;
     },
     {}},
};

const ProblemCase RECIPIENTS[] = {
    {"one of two recipients refused",
     refused("550 no such user"),
     {"failing recipient-refused"},
     "192.0.2.1:25 refuses a@b of the profile Ops: \"550 no such user\"",
     "Global.CallhomeDB.Profile.0.EmailList.0=ADDRESS"},
    {"one whose mails the server does not hand on",
     refused("554 5.7.1 Relay access denied"),
     {"failing relay-denied"},
     "hands nothing on to a@b",
     "let the mail server relay"},
    {"one at a server that closes", refused("421 closing"), {"failing server-busy"}},
    {"two at a server that wants a login",
     [](StatusFacts& facts) {
         refused("530 Authentication required")(facts);
         log(facts, NOW, orv_log::kRecipientGivenUp, "Ops", "c@d", "192.0.2.1", 25);
         log(facts, NOW, orv_log::kRecipientRefused, "Ops", "c@d", "192.0.2.1", 25, "530 Authentication required");
     },
     {"blocked recipients-all-refused", "failing login-wanted"},
     "",
     ""},
    {"one at the second server, which is set by an option of its own",
     [](StatusFacts& facts) {
         useBoth(facts);
         log(facts, NOW, orv_log::kRecipientGivenUp, "Ops", "a@b", "192.0.2.2", 25);
         log(facts, NOW, orv_log::kRecipientRefused, "Ops", "a@b", "192.0.2.2", 25, "530 Must issue STARTTLS first");
     },
     {"failing encryption-wanted"},
     "192.0.2.2:25",
     "--smtp2 KIND-ADDRESS:PORT"},
    {"one of two put off for ever", refused("451 4.7.1 Greylisted"), {"failing recipient-delayed"}},
    {"every recipient refused",
     [](StatusFacts& facts) {
         refused("550 no")(facts);
         log(facts, NOW, orv_log::kRecipientGivenUp, "Ops", "c@d", "192.0.2.1", 25);
     },
     {"blocked recipients-all-refused", "failing recipient-refused", "failing recipient-refused"}},
    {"a recipient that is taken since",
     [](StatusFacts& facts) {
         log(facts, NOW - 90 * SECOND, orv_log::kRecipientGivenUp, "Ops", "a@b", "192.0.2.1", 25);
         trace(facts, sentThen("RCPT TO:<a@b>") + gotThen("250 ok"));
     },
     {}},
    {"a recipient that is in no profile any more",
     [](StatusFacts& facts) {
         refused("550 no")(facts);
         facts.profiles[0].fields["EmailList.0"].value = "other@b";
     },
     {}},
    {"a refusal by a server that is not used any more",
     [](StatusFacts& facts) {
         refused("550 no")(facts);
         facts.attributes["Global.Callhome.NF-SMTPAddr"] = "1-192.0.2.7";
     },
     {}},
};

TEST(ServerProblems, areFoundInWhatServersSaidLast) {
    for (const ProblemCase& one : SERVER_PROBLEMS) {
        expectFound(one);
    }
}

TEST(RecipientProblems, areFoundInWhatServersSaidAboutThem) {
    for (const ProblemCase& one : RECIPIENTS) {
        expectFound(one);
    }
}

}  // namespace
