#include "box/MailSession.h"

#include <algorithm>
#include <cctype>

namespace box {

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kTextEnd = "\r\n.\r\n";

// The address between the angles.
std::string addressIn(const std::string& line) {
    const std::size_t begin = line.find('<');
    const std::size_t end = line.find('>');
    return begin < end && end != std::string::npos ? line.substr(begin + 1, end - begin - 1) : "";
}

bool isPositive(const std::string& reply) {
    return reply.starts_with('2') || reply.starts_with('3');
}

}  // namespace

const char* mailStepName(MailStep step) {
    static constexpr const char* kNames[] = {"greeting", "hello", "sender", "recipient", "data",
                                             "text",     "reset", "quit",   "other"};
    return kNames[static_cast<std::size_t>(step)];
}

MailSession::Answer MailSession::greet() {
    return answer(MailStep::kGreeting, "220 box.example ready");
}

MailSession::Answer MailSession::answer(MailStep step, std::string reply, bool closes) {
    std::string chosen = choice_(step);
    if (!chosen.empty()) {
        reply = std::move(chosen);
    }
    return {step, reply + std::string(kLineEnd), closes};
}

std::vector<MailSession::Answer> MailSession::receive(std::string_view bytes) {
    pending_ += bytes;
    std::vector<Answer> answers;
    for (;;) {
        const std::string_view end = inText_ ? kTextEnd : kLineEnd;
        const std::size_t at = pending_.find(end);
        if (at == std::string::npos) {
            return answers;
        }
        const std::string part = pending_.substr(0, at);
        pending_.erase(0, at + end.size());
        if (inText_) {
            mail_.text = part;
            answers.push_back(endOfText());
        } else {
            answers.push_back(command(part));
        }
    }
}

MailSession::Answer MailSession::command(const std::string& line) {
    std::string verb = line.substr(0, 4);
    std::transform(verb.begin(), verb.end(), verb.begin(), [](unsigned char c) { return std::toupper(c); });
    if (verb == "EHLO" || verb == "HELO") {
        mail_ = {};
        return answer(MailStep::kHello, "250 box.example");
    }
    if (verb == "MAIL") {
        mail_ = {};
        mail_.from = addressIn(line);
        return answer(MailStep::kFrom, "250 ok");
    }
    if (verb == "RCPT") {
        return recipient(line);
    }
    if (verb == "DATA") {
        Answer data = answer(MailStep::kData, mail_.to.empty() ? "554 no recipient" : "354 go on");
        inText_ = isPositive(data.reply);
        return data;
    }
    if (verb == "RSET") {
        mail_ = {};
        return answer(MailStep::kReset, "250 ok");
    }
    return verb == "QUIT" ? answer(MailStep::kQuit, "221 bye", true) : answer(MailStep::kOther, "502 what");
}

MailSession::Answer MailSession::recipient(const std::string& line) {
    Answer reply = answer(MailStep::kRecipient, "250 ok");
    if (isPositive(reply.reply)) {
        mail_.to.push_back(addressIn(line));
    }
    return reply;
}

// The mail is the server's from here on, whatever becomes of the reply.
MailSession::Answer MailSession::endOfText() {
    inText_ = false;
    Answer reply = answer(MailStep::kText, "250 taken");
    if (isPositive(reply.reply)) {
        taken_(mail_);
    }
    mail_ = {};
    return reply;
}

}  // namespace box
