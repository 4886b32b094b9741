// Faults of mail servers that cannot be used: status names each, and its remedies end it.
#include "testing/switchctl/ProblemsTest.h"

namespace {

TEST_F(Problems, ofServersThatDoNotServeAreMendedByWhatStatusSays) {
    expectAllMended({
        {"server-unreachable",
         [&] {
             server_.refuseConnections();
             happen();
         },
         [&] { server_.acceptConnections(); }},
        {"server-none", answer(MailStage::kGreeting, ScriptedReply::line("HTTP/1.1 400 Bad Request")),
         answerWell(MailStage::kGreeting, "220 mail")},
        {"server-declines", answer(MailStage::kGreeting, ScriptedReply::line("554 go away")),
         answerWell(MailStage::kGreeting, "220 mail")},
        {"server-breaks-off", answer(MailStage::kGreeting, ScriptedReply::hangUp()),
         answerWell(MailStage::kGreeting, "220 mail")},
    });
}

}  // namespace
