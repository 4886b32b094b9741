// Mails of random histories: which event and which of its mails one is, and whether it reads as it has to.
#pragma once

#include "box/MailSession.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace box {

// The text of the event that a mail, or an entry's file, is of; "" when there is none.
std::string eventIn(const Mail& mail);
std::string eventIn(const std::string& entry);
// The mails of one event to one profile have the same key, those that tell of repeats another one. It begins with the
// event's text and a line feed.
std::string keyOf(const Mail& mail);

// How the mails of each key read. Their dates, and how often and when an event came again, may differ.
class KnownMails {
public:
    // What is wrong with a mail of which this is the first to be known, or one like another; "" when nothing is.
    std::string add(const Mail& mail);
    // What is wrong with a mail beside those that are known; "" when nothing is.
    std::string problemOf(const Mail& mail) const;

private:
    std::map<std::string, std::string> texts_;  // by event and subject
    std::set<std::string> times_;
    std::set<std::string> recipients_;
};

}  // namespace box
