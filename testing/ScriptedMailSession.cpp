#include "testing/ScriptedMailSession.h"

#include <utility>

namespace {

// How a line begins, and which stage it is; the first that fits counts.
constexpr std::pair<std::string_view, MailStage> kCommands[] = {
    {"EHLO ", MailStage::kEhlo},    {"HELO ", MailStage::kHelo}, {"MAIL FROM:", MailStage::kMail},
    {"RCPT TO:", MailStage::kRcpt}, {"DATA", MailStage::kData},  {"RSET", MailStage::kRset},
    {"QUIT", MailStage::kQuit},
};

MailStage stageOf(std::string_view line) {
    for (const auto& [word, stage] : kCommands) {
        if (line.starts_with(word)) {
            return stage;
        }
    }
    return MailStage::kOther;
}

// The text between "<" and ">".
std::string addressOf(const std::string& line) {
    const std::size_t begin = line.find('<');
    const std::size_t end = line.rfind('>');
    return begin == std::string::npos || end == std::string::npos || end < begin
               ? ""
               : line.substr(begin + 1, end - begin - 1);
}

}  // namespace

MailScript::MailScript() {
    set(MailStage::kGreeting, ScriptedReply::line("220 scripted mail server"));
    set(MailStage::kEhlo, ScriptedReply::line("250 hello"));
    set(MailStage::kHelo, ScriptedReply::line("250 hello"));
    set(MailStage::kMail, ScriptedReply::line("250 sender ok"));
    set(MailStage::kRcpt, ScriptedReply::line("250 recipient ok"));
    set(MailStage::kData, ScriptedReply::line("354 go ahead"));
    set(MailStage::kEndOfData, ScriptedReply::line("250 taken"));
    set(MailStage::kRset, ScriptedReply::line("250 reset"));
    set(MailStage::kQuit, ScriptedReply::line("221 bye").thenHangUp());
    set(MailStage::kOther, ScriptedReply::line("500 what"));
}

std::optional<ScriptedReply> MailScript::nextOf(Replies& replies) {
    if (replies.once.empty()) {
        return replies.standing;
    }
    ScriptedReply reply = replies.once.front();
    replies.once.pop_front();
    return reply;
}

ScriptedReply MailScript::next(MailStage stage, const std::string& address) {
    if (const auto found = recipients_.find(address); stage == MailStage::kRcpt && found != recipients_.end()) {
        if (std::optional<ScriptedReply> reply = nextOf(found->second)) {
            return *reply;
        }
    }
    return nextOf(stages_[stage]).value();
}

ScriptedMailSession::ScriptedMailSession(MailScript& script, Clock::time_point now) : script_(script), last_(now) {
    reply(MailStage::kGreeting, "", now);
}

void ScriptedMailSession::receive(std::string_view bytes, Clock::time_point now) {
    received_.append(bytes);
    input_.append(bytes);
    for (;;) {
        if (inText_) {
            if (!takeText(now)) {
                return;
            }
            continue;
        }
        const std::size_t end = input_.find('\n');
        if (end == std::string::npos) {
            return;
        }
        const std::string line = input_.substr(0, end + 1);
        input_.erase(0, end + 1);
        takeLine(line, now);
    }
}

void ScriptedMailSession::takeLine(const std::string& line, Clock::time_point now) {
    ++inputs_;
    const MailStage stage = stageOf(line);
    if (stage == MailStage::kMail) {
        mail_ = {addressOf(line), {}, {}};
    }
    reply(stage, addressOf(line), now);
}

// False when the end of the text has not come yet.
bool ScriptedMailSession::takeText(Clock::time_point now) {
    static const std::string kEnd = "\r\n.\r\n";
    const bool emptyText = input_.starts_with(".\r\n");
    const std::size_t end = emptyText ? 0 : input_.find(kEnd);
    if (end == std::string::npos) {
        return false;
    }
    mail_.text = emptyText ? "" : input_.substr(0, end + 2);
    input_.erase(0, emptyText ? 3 : end + kEnd.size());
    inText_ = false;
    ++inputs_;
    reply(MailStage::kEndOfData, "", now);
    return true;
}

void ScriptedMailSession::reply(MailStage stage, const std::string& address, Clock::time_point now) {
    const ScriptedReply reply = script_.next(stage, address);
    const bool accepted = reply.firstByte() == '2';
    if (stage == MailStage::kRcpt && accepted) {
        mail_.recipients.push_back(address);
    } else if (stage == MailStage::kData) {
        inText_ = reply.firstByte() == '3';
    } else if (stage == MailStage::kEndOfData && accepted) {
        mails_.push_back(std::move(mail_));
    }
    if (output_.empty()) {
        last_ = now;
    }
    for (const ScriptedReply::Segment& segment : reply.segments()) {
        output_.push_back({segment, ScriptedReply::End::kKeepOpen, inputs_});
    }
    if (reply.end() != ScriptedReply::End::kKeepOpen) {
        output_.push_back({{}, reply.end(), inputs_});
    }
}

bool ScriptedMailSession::released(const Pending& pending) const {
    return !pending.segment.afterNextInput || inputs_ > pending.inputsBefore;
}

std::optional<ScriptedMailSession::Action> ScriptedMailSession::due(Clock::time_point now) {
    if (output_.empty() || !released(output_.front()) || now < last_ + output_.front().segment.delay) {
        return std::nullopt;
    }
    Action action{output_.front().segment.bytes, output_.front().end};
    output_.pop_front();
    last_ = now;
    return action;
}

std::optional<ScriptedMailSession::Clock::time_point> ScriptedMailSession::nextDue() const {
    if (output_.empty() || !released(output_.front())) {
        return std::nullopt;
    }
    return last_ + output_.front().segment.delay;
}
