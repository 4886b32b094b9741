#include "switchctl/traces/SmtpReplies.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// A line of a dialogue: what was sent (S) or received (R), or the next dialogue's beginning (-).
struct Step {
    char kind;
    const char* text;
};

bool outOfStep(const std::vector<Step>& steps) {
    std::string text;
    const std::string head = "11/14/2023 UTC 22:13:20.123  17 ";
    for (const Step& step : steps) {
        text += head;
        switch (step.kind) {
            case 'S':
                text += "OrvSMTPClient sendRequest: SMTP Send (incl CRLF) {" + std::string(step.text) + "}\n";
                break;
            case 'R':
                text += "OrvSMTPClient recvResponse: SMTP StatusSMTPResponse (incl CRLF) {" + std::string(step.text) +
                        "}\n";
                break;
            default:
                text += "OrvSendDialogue presentClient: Send SMTP client identity as hostname: sw\n";
        }
    }
    SmtpReplies replies;
    for (const TraceRecord& record : traceRecords(text)) {
        replies.take(record);
    }
    return replies.outOfStep();
}

struct Dialogue {
    const char* name;
    std::vector<Step> steps;
    bool outOfStep;
};

const std::vector<Step> GOOD = {
    {'R', "220 mail ready\r\n"},
    {'-', ""},
    {'S', "EHLO sw\r\n"},
    {'R', "250-mail\r\n250-SIZE\r\n250 HELP\r\n"},
    {'S', "MAIL FROM:<a@x>\r\n"},
    {'R', "250 OK\r\n"},
    {'S', "RCPT TO:<b@x>\r\n"},
    {'R', "550 no\r\n"},
    {'S', "RCPT TO:<c@x>\r\n"},
    {'R', "250 OK\r\n"},
    {'S', "DATA\r\n"},
    {'R', "354 go on\r\n"},
    {'S', "Date: today\r\n250 a text that looks like replies\r\n250 }\r\n\r\n"},
    {'S', ".\r\n"},
    {'R', "250 OK\r\n"},
    {'S', "QUIT\r\n"},
    {'R', "221 bye\r\n"},
};

std::vector<Step> operator+(std::vector<Step> one, const std::vector<Step>& other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

const Dialogue DIALOGUES[] = {
    {"none", {}, false},
    {"a good one", GOOD, false},
    {"two good ones", GOOD + GOOD, false},
    {"a greeting in two pieces",
     {{'R', "220-mail\r\n"}, {'-', ""}, {'S', "EHLO sw\r\n"}, {'R', "220 ready\r\n"}},
     true},
    {"half a line", {{'R', "220 ma"}, {'-', ""}}, true},
    {"a reply in two pieces",
     {{'R', "220 m\r\n"}, {'-', ""}, {'S', "EHLO sw\r\n"}, {'R', "250-mail\r\n"}, {'S', "MAIL FROM:<a@x>\r\n"}},
     true},
    {"two replies at once",
     {{'R', "220 m\r\n"}, {'-', ""}, {'S', "EHLO sw\r\n"}, {'R', "250 mail\r\n250 mail\r\n"}},
     true},
    {"two greetings", {{'R', "220 m\r\n"}, {'-', ""}, {'S', "EHLO sw\r\n"}, {'R', "220 m\r\n"}}, true},
    {"DATA answered by the reply of another command",
     {{'R', "220 m\r\n"}, {'-', ""}, {'S', "DATA\r\n"}, {'R', "250 OK\r\n"}},
     true},
    {"the text answered by the reply of DATA",
     {{'R', "220 m\r\n"}, {'-', ""}, {'S', ".\r\n"}, {'R', "354 go on\r\n"}},
     true},
    {"a good one behind one out of step",
     std::vector<Step>{{'R', "220 m\r\n"}, {'-', ""}, {'S', "DATA\r\n"}, {'R', "250 OK\r\n"}} + GOOD, false},
    {"a good one behind one that was cut off",
     std::vector<Step>{{'R', "220 m\r\n"}, {'-', ""}, {'S', "EHLO sw\r\n"}, {'R', "250 m\r\n"}, {'S', "DATA\r\n"}} +
         GOOD,
     false},
    {"a refused identity and a second one",
     {{'R', "220 m\r\n"},
      {'-', ""},
      {'S', "EHLO sw\r\n"},
      {'R', "550 no\r\n"},
      {'S', "HELO sw\r\n"},
      {'R', "550 no\r\n"},
      {'-', ""},
      {'S', "EHLO 1\r\n"},
      {'R', "250 m\r\n"}},
     false},
};

TEST(SmtpReplies, areOutOfStepWhereOneIsReadForAnother) {
    for (const Dialogue& one : DIALOGUES) {
        EXPECT_EQ(outOfStep(one.steps), one.outOfStep) << one.name;
    }
}

}  // namespace
