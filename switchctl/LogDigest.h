// What the event log tells about CallHome's way to its mail servers: the last failure, the retry that it is waiting
// for, and what it has given up.
#pragma once

#include "switchctl/Session.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>

struct LogDigest {
    struct Failure {
        std::string time;
        std::string text;
        bool recovered = false;  // Mails went out again since.
    };
    struct Retry {
        std::string server;    // address and port
        std::int64_t due = 0;  // microseconds since 1970
    };

    std::optional<Failure> lastFailure;
    std::optional<Retry> retry;
    std::uint64_t recipientsGivenUp = 0;
    std::uint64_t mailsGivenUp = 0;       // for a whole profile, none of whose recipients was taken
    std::uint64_t messagesNotQueued = 0;  // refused by the queue, or not restored from their files, each file once

    // Entries up to this level matter here.
    static constexpr std::int32_t MAX_LEVEL = 16;

    // From the whole log. Throws as OperatorClient::call.
    static LogDigest read(Session& session);
    // The next entry. The daemon counts its delays on a clock that runs so many times as fast as the calendar.
    void take(const LogEntry& entry, std::uint64_t timeScale);

private:
    void takeUnnumbered(const std::string& text);

    std::set<std::string> lostFiles_;
    std::string emptyFile_;  // the one told of last
};
