// What must hold in every history, each rule with a name. Judges from outside: by mails, event log, traces, files.
//
// Knows no life and no box: whoever has them tells it what happens, and the facts of that moment.
#pragma once

#include "box/MailSession.h"
#include "box/Network.h"
#include "box/Times.h"
#include "box/search/Awaited.h"
#include "box/search/Books.h"
#include "box/search/Delays.h"
#include "box/search/Excuses.h"
#include "box/search/Growth.h"
#include "box/search/OrderlyEnd.h"
#include "switchd/store/LogEntry.h"

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class FieldReader;
class FieldWriter;

namespace box {

// How the world stands when something is judged.
struct Facts {
    Time now = 0;
    Time lifeBegan = 0;
    std::uint32_t lives = 1;
    std::uint32_t openDialogues = 0;
    std::uint32_t troubles = 0;           // replies that did not come as they should
    std::uint32_t failedCalls = 0;        // in all lives
    std::uint32_t failedAllocations = 0;  // the same
    bool memoryFailed = false;            // in this life
    bool anythingFailed = false;          // in this life, of calls and memory
    long objects = 0;                     // of the daemon's, in memory
    unsigned descriptors = 0;             // open
    unsigned files = 0;                   // of the switch's
    std::string root;                     // of the switch's files; for what looks at them
};

class Judge {
public:
    struct Rule {
        const char* name;
        const char* says;
    };
    static std::span<const Rule> rules();

    // A life begins.
    void begins(const std::string& root);
    void published(std::uint32_t event);
    // The daemon is set up to take the event that was published just now: its queue has to receive a message.
    void expectsMessage(const Facts& facts);
    // A request of management reaches a daemon that is free to answer it.
    void asked(const Facts& facts);
    // A request that no request is: of a wrong length. isFree: the daemon is free to name it, as above.
    void askedWrongly(const Facts& facts, bool isFree);
    void answered() { questions_.came(); }
    void mailTaken(const Facts& facts, const Mail& mail);
    void logged(const Facts& facts, const LogEntry& entry);
    void mainWaits(const Facts& facts, std::string_view call);
    void written(const Facts& facts, std::string_view text);
    void clientSteps(const Facts& facts, ClientStep step, std::string_view what);
    void toldToEnd(const Facts& facts) { end_.told(facts.now); }
    // A life ends. byItself: it was neither killed nor was there more to come.
    void ended(const Facts& facts, bool byItself);
    // After each step of the history.
    void stepped(const Facts& facts);
    // Faults have ended long ago.
    void finished(const Facts& facts);

    // Of all lives.
    Books::Sums sums() const;
    // Names of the event-log entries that came.
    const std::set<std::string>& entries() const { return entries_; }
    // The first rule that was broken, and how; "" when none was.
    const std::string& problem() const { return problem_; }
    // Of rules that were broken since it was asked last.
    std::vector<std::string> takeNews();

    void encode(FieldWriter& out) const;
    void decode(FieldReader& in);

    // What is written in an event, before its number.
    static constexpr char kEventText[] = "event number ";
    // Who gets a mail of every event.
    static constexpr char kOperator[] = "operator@example.com";

private:
    static void fields(auto& io, auto& judge);
    static Books::Sums handedOn(const Judge& judge);
    static Books::Sums& handedOn(Judge& judge);
    // What is known of one event.
    struct Event {
        std::uint8_t published = 0;
        std::uint8_t mailed = 0;  // to the profile that takes all
        std::uint8_t excess = 0;  // of these, more than were published then
        bool done = false;        // at an orderly end
    };

    void checkDoubles(const Facts& facts, Event& event);
    void checkReceived(const Facts& facts);
    void checkRequests(const Facts& facts);
    void traced(const Facts& facts, std::string_view text);
    void clientSends(const Facts& facts, std::string_view what);
    void checkSaid(const Facts& facts, std::string_view what);
    void checkLeftOut(const Facts& facts, std::string_view line);
    void checkClock(const Facts& facts, std::string_view line);
    void checkRestored(const Facts& facts);
    void checkCharges(const Facts& facts);
    void checkFlat(const Facts& facts);
    void takeProblems(const Facts& facts);
    void broken(const Facts& facts, const char* rule, const std::string& how);

    std::vector<Event> events_;
    std::uint32_t doubled_ = 0;  // mails that came once more than their event
    std::uint32_t clean_ = 0;    // ends of lives that leave nothing to be doubled
    std::uint32_t kills_ = 0;    // lives that did not end by themselves
    Books::Sums former_;         // of the lives before
    std::set<std::string> entries_;
    // --- Of this life ---
    Excuses excuses_;
    Books books_;
    Delays delays_;
    OrderlyEnd end_;
    Growth growth_;
    Awaited expected_;            // messages, since the queue had received
    std::uint64_t before_ = 0;    // so many
    Awaited questions_;           // without an answer
    std::uint32_t nameable_ = 0;  // requests of a wrong length that no entry has named
    Awaited wrong_;               // of these, those that one has to name
    std::string said_;            // the last trace of a line to a server
    std::string begun_;           // of a line to a server that names a recipient, without its end yet
    bool announced_ = false;      // a trace tells of a pause, and no entry does yet
    std::uint32_t troublesHeard_ = 0;
    bool blind_ = false;             // the traces have fallen silent, for want of descriptors, say
    std::uint64_t heardAtMail_ = 0;  // traces of the queue
    std::int64_t lastMailed_ = -1;   // event
    bool restored_ = false;          // and not judged yet
    unsigned left_ = 0;              // entries' files at its beginning
    unsigned captures_ = 0;          // of these, of captures
    unsigned named_ = 0;             // those that were named, and not restored
    unsigned unread_ = 0;            // of these, those that cannot be read
    // ---
    std::string problem_;
    std::vector<std::string> news_;
};

}  // namespace box
