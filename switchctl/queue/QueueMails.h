// The mails of queued messages, and the files that they are exported to.
#pragma once

#include "switchctl/client/Session.h"
#include "switchctl/queue/ComposedMail.h"
#include "switchctl/queue/QueueFacts.h"

#include <string>
#include <vector>

struct QueueMail {
    std::string message;  // as one names it
    std::string profile;
    std::string sender;
    std::vector<std::string> recipients;  // who have not got it yet, and are not given up
    std::string text;                     // what follows DATA
};

// As orvApp would compose them now. Throws as OperatorClient::call.
MailMaker mailMaker(Session& session, const QueueFacts& facts);
// A mail for each profile. Throws Refused when it is no message that can be mailed.
std::vector<QueueMail> mailsOf(const QueueEntry& entry, const MailMaker& maker);

struct ExportedMail {
    QueueMail mail;
    std::string file;
};
// Writes each mail to a file of its own, "m5-Operators.eml", in a directory that is made if it is not there. All lines
// end with CR LF. Throws Refused when one cannot be written, or is there already.
std::vector<ExportedMail> exportMails(std::vector<QueueMail> mails, const std::string& directory);
