#include "switchctl/traces/SmtpReplies.h"

#include <cstddef>

namespace {

constexpr std::string_view GREETING = "220";

// What stands between the brackets.
std::string_view inside(std::string_view message, const TraceWords& beginning) {
    message.remove_prefix(beginning.text.size());
    return message.substr(0, message.rfind('}'));
}

// Lines that end a reply: three digits without a hyphen behind them. A line that is not whole ends none.
std::size_t repliesIn(std::string_view text) {
    constexpr std::size_t CODE = 3;
    std::size_t count = 0;
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        count += end <= CODE || text[CODE] != '-';
        text.remove_prefix(end + 1);
    }
    return count;
}

}  // namespace

void SmtpReplies::take(const TraceRecord& record) {
    if (record.is(DaemonWords::HELLO) && !hello_) {
        outOfStep_ = !oneReply_;  // A new dialogue, of which the greeting has been read.
    } else if (record.is(DaemonWords::SENT)) {
        takeCommand(inside(record.message, DaemonWords::SENT));
    } else if (record.is(DaemonWords::RECEIVED)) {
        takeReply(inside(record.message, DaemonWords::RECEIVED));
    }
}

// The text of a mail is sent like a command, and no reply is read for it.
void SmtpReplies::takeCommand(std::string_view command) {
    hello_ = command.starts_with("EHLO ") || command.starts_with("HELO ");
    asked_ = command == "DATA\r\n" ? Asked::DATA : command == ".\r\n" ? Asked::TEXT_END : Asked::COMMAND;
}

void SmtpReplies::takeReply(std::string_view reply) {
    const char first = reply.empty() ? '\0' : reply.front();
    const bool ofAnother = (asked_ == Asked::DATA && first == '2') || (asked_ == Asked::TEXT_END && first == '3') ||
                           (asked_ == Asked::COMMAND && reply.starts_with(GREETING));
    oneReply_ = repliesIn(reply) == 1 && reply.ends_with('\n');
    outOfStep_ = outOfStep_ || !oneReply_ || ofAnother;
    asked_ = Asked::NOTHING;
}
