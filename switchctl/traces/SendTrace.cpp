#include "switchctl/traces/SendTrace.h"

#include <utility>

namespace {

constexpr std::string_view RECIPIENT = "RCPT TO:<";
constexpr std::string_view TEXT_END = ".";
constexpr std::string_view FAREWELL = "QUIT";

// What stands between the brackets, without the end of its last line.
std::string_view lineInside(std::string_view message, const TraceWords& beginning) {
    message.remove_prefix(beginning.text.size());
    message = message.substr(0, message.rfind('}'));
    return message.substr(0, message.find_last_not_of("\r\n") + 1);
}

// The text of a mail is sent like a command: what it is remembered by has to be short.
std::string commandIn(std::string_view message) {
    constexpr std::size_t LONGEST = 300;
    return std::string(lineInside(message, DaemonWords::SENT).substr(0, LONGEST));
}

bool isRefusal(std::string_view reply) {
    return !reply.starts_with('2') && !reply.starts_with('3');
}

}  // namespace

void SendTrace::take(const TraceRecord& record) {
    lastTime_ = record.time().value_or(lastTime_);
    if (record.is(DaemonWords::SENT)) {
        asked_ = commandIn(record.message);
    } else if (record.is(DaemonWords::RECEIVED)) {
        takeReply(lineInside(record.message, DaemonWords::RECEIVED), lastTime_);
    } else if (record.is(DaemonWords::CRITICAL_FAILURE)) {
        asked_.reset();
        inDialogue_ = false;
    }
}

void SendTrace::takeReply(std::string_view text, std::int64_t time) {
    const Reply reply{std::exchange(asked_, std::nullopt).value_or(""), std::string(text), time};
    inDialogue_ = reply.command != FAREWELL;
    if (reply.command.starts_with(RECIPIENT)) {
        const std::string address = reply.command.substr(RECIPIENT.size());
        recipients_.insert_or_assign(address.substr(0, address.rfind('>')), reply);
    } else if (isRefusal(text) && reply.command != FAREWELL) {
        refusal_ = reply;
    } else if (reply.command == TEXT_END) {
        lastTaken_ = time;
        refusal_.reset();
    }
}

const SendTrace::Reply* SendTrace::about(const std::string& recipient) const {
    const auto found = recipients_.find(recipient);
    return found == recipients_.end() ? nullptr : &found->second;
}
