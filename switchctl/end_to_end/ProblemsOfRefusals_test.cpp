// Mail servers that say nothing, or no: status names each, and its remedies end it.
#include "testing/switchctl/ProblemsTest.h"

namespace {

TEST_F(Problems, ofServersThatRefuseAreMendedByWhatStatusSays) {
    expectAllMended({
        {"server-silent", answer(MailStage::kGreeting, ScriptedReply::silence()),
         answerWell(MailStage::kGreeting, "220 mail")},
        {"login-wanted", answer(MailStage::kMail, ScriptedReply::line("530 5.7.0 Authentication required")),
         answerWell(MailStage::kMail, "250 ok")},
        {"sender-refused", answer(MailStage::kMail, ScriptedReply::line("550 not from you")),
         answerWell(MailStage::kMail, "250 ok")},
        {"mail-too-large", answer(MailStage::kEndOfData, ScriptedReply::line("552 5.3.4 too large")),
         answerWell(MailStage::kEndOfData, "250 ok")},
    });
}

}  // namespace
