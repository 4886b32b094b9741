// One client's conversation with a scripted mail server: what came in, and what is to go out when.
//
// No socket and no thread of its own: the server feeds it the bytes it received and sends what is due.
#pragma once

#include "testing/ScriptedReply.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

enum class MailStage { kGreeting, kEhlo, kHelo, kMail, kRcpt, kData, kEndOfData, kRset, kQuit, kOther };

// A mail that was answered with a reply beginning with "2" after its end of data.
struct ScriptedMail {
    std::string sender;
    std::vector<std::string> recipients;  // those accepted, in order
    std::string text;                     // as sent, up to and without the line that ends it
};

// The replies of a server: one-time ones first, in order, then the standing one.
class MailScript {
public:
    MailScript();

    void set(MailStage stage, ScriptedReply reply) { stages_[stage].standing = std::move(reply); }
    void once(MailStage stage, ScriptedReply reply) { stages_[stage].once.push_back(std::move(reply)); }
    // Goes before the replies of the RCPT stage.
    void setRecipient(const std::string& address, ScriptedReply reply) { recipients_[address].standing = reply; }
    void onceRecipient(const std::string& address, ScriptedReply reply) { recipients_[address].once.push_back(reply); }

    ScriptedReply next(MailStage stage, const std::string& address);

private:
    struct Replies {
        std::deque<ScriptedReply> once;
        std::optional<ScriptedReply> standing;
    };

    static std::optional<ScriptedReply> nextOf(Replies& replies);

    std::map<MailStage, Replies> stages_;
    std::map<std::string, Replies> recipients_;
};

class ScriptedMailSession {
public:
    using Clock = std::chrono::steady_clock;

    // The script is the server's and outlives the session. Begins with the greeting.
    ScriptedMailSession(MailScript& script, Clock::time_point now);

    void receive(std::string_view bytes, Clock::time_point now);

    // What is to be done at this time: bytes to send, or the end of a reply; none when nothing is due.
    struct Action {
        std::string bytes;
        ScriptedReply::End end = ScriptedReply::End::kKeepOpen;
    };
    std::optional<Action> due(Clock::time_point now);
    // When the next action can be due without further input; none when only input can bring one.
    std::optional<Clock::time_point> nextDue() const;

    const std::string& received() const { return received_; }
    const std::vector<ScriptedMail>& mails() const { return mails_; }

private:
    struct Pending {
        ScriptedReply::Segment segment;
        ScriptedReply::End end;
        std::size_t inputsBefore;
    };

    void takeLine(const std::string& line, Clock::time_point now);
    bool takeText(Clock::time_point now);
    void reply(MailStage stage, const std::string& address, Clock::time_point now);
    bool released(const Pending& pending) const;

    MailScript& script_;
    std::string received_;
    std::string input_;  // not yet understood
    bool inText_ = false;
    std::size_t inputs_ = 0;  // lines and mail texts taken
    ScriptedMail mail_;
    std::vector<ScriptedMail> mails_;
    std::deque<Pending> output_;
    Clock::time_point last_;  // when the piece before went out
};
