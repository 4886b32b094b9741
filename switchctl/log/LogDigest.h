// What the event log tells about CallHome's way to its mail servers: the last failure, the retry that it is waiting
// for, and what it has given up.
#pragma once

#include "catalogue/OrvEventCatalogue.h"
#include "catalogue/OrvLogEntries.h"
#include "switchctl/client/Session.h"
#include "switchctl/log/MailFailures.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct LogDigest {
    struct Failure {
        std::int64_t time = 0;  // microseconds since 1970
        std::string text;
        bool recovered = false;  // Mails went out again since.
    };
    struct Retry {
        std::string server;        // address and port
        std::int64_t decided = 0;  // when, in microseconds since 1970
        std::int64_t due = 0;      // for when
    };

    // What is wrong with the daemon itself.
    enum class Trouble {
        READY_UNSENT,       // that it is ready for its configuration
        CONFIGURED_UNSENT,  // that it has read it
        NO_SEND_THREAD,
        NO_CAPTURE_THREAD,
        NO_LOG_EVENTS,  // it could not subscribe to them
        NO_STATE_EVENTS,
        NO_ADDRESS_EVENTS,
        NO_HOSTNAME_EVENTS,
        OUT_OF_MEMORY,
        OUT_OF_DESCRIPTORS,
        QUEUE_NOT_RESTORED,  // a whole one
        MESSAGE_REFUSED,     // by the queue, for want of room
        FILE_LIMIT_REACHED,  // and that for the number of its files
        FILE_UNWRITTEN,
        READ_HALTED,  // A part of the configuration was refused, and the read waits for it for ever.
        CAPTURE_FAILED,
    };
    struct Sign {
        Trouble trouble;
        std::int64_t time = 0;  // microseconds since 1970
        friend bool operator==(const Sign&, const Sign&) = default;
    };

    // What an entry means here.
    enum class Meaning;
    // What an entry says: looked at once for all that say the same.
    class Saying;

    std::vector<Sign> signs;                  // oldest first
    std::map<Trouble, std::string> lastText;  // of the latest sign of each
    // Files that a start could not make a message of, and when that was last, in microseconds since 1970.
    std::map<std::string, std::int64_t> lostFiles;
    MailFailures mail;
    std::optional<std::int64_t> settingsRead;  // when the daemon began to, microseconds since 1970
    std::int64_t latest = 0;                   // the time of the last entry of anybody's
    std::optional<Failure> lastFailure;
    std::optional<Retry> retry;
    std::uint64_t recipientsGivenUp = 0;
    std::uint64_t mailsGivenUp = 0;       // for a whole profile, none of whose recipients was taken
    std::uint64_t messagesNotQueued = 0;  // refused by the queue, or not restored from their files, each file once
    std::vector<std::int64_t> refusals;   // when the queue refused a message, in microseconds since 1970
    std::int64_t first = 0;               // the time of the first entry of anybody's; 0: there is none
    std::uint64_t firstId = 0;            // its number: above 1 when older ones are gone

    // Entries up to this level matter here.
    static constexpr std::int32_t MAX_LEVEL = kOrvLogDetail;

    // The entries that mean something here.
    static const LogSelection& selection();
    // What one of the daemon's entries says, and how many there are of it.
    using Count = std::function<void(const OrvCatalogueMatch& entry, std::uint64_t times)>;
    // From the whole log. Throws as OperatorClient::call.
    static LogDigest read(Session& session, const Count& count = nullptr);
    // How many times as fast as the calendar the daemon's delays run on this switch.
    static std::uint64_t timeScale();
    // The next entry. The daemon counts its delays on a clock that runs so many times as fast as the calendar.
    void take(const LogEntry& entry, std::uint64_t timeScale);

private:
    void take(const Saying& saying, std::int64_t time, std::uint64_t timeScale);
    void take(Meaning meaning, const Saying& saying, std::int64_t time, std::uint64_t timeScale);
    void takeSeries(const LogSeries& series, std::uint64_t timeScale, const Count& count);
    void takeFailure(const std::string& text, std::int64_t time);
    void takeLostFile(const std::string& file, std::int64_t time, bool empty);

    // The one told of last: the entry about an empty file is followed by the one that it is not restored.
    std::string emptyFile_;
};
