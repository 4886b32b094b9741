// The books of one life's queue, kept from its traces: what came, what became of it, and what each entry is charged
// with.
//
// Each message that comes is taken, counted as a repeat, or refused; each entry that goes does so for a reason that was
// told; the daemon's own sums, as it traces them, have to agree with what is booked here. Main thread's traces only.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace box {

class Books {
public:
    // Why an entry has left the queue.
    enum Reason { kMailed, kSpace, kFiles, kTime, kCleared, kMarked, kParkedLongEnough, kReasons };
    struct Sums {
        std::uint64_t received = 0;  // the early ones once
        std::uint64_t restored = 0;
        std::uint64_t counted = 0;  // as repeats
        std::uint64_t refused = 0;
        std::uint64_t unsettled = 0;  // lost for want of memory, while they were received
        std::array<std::uint64_t, kReasons> gone{};

        void operator+=(const Sums& other);
        std::string text() const;

        static void fields(auto& io, auto& sums) {
            io(sums.received, sums.restored, sums.counted, sums.refused, sums.unsettled);
            for (auto& count : sums.gone) {
                io(count);
            }
        }
    };
    struct Problem {
        const char* rule;
        std::string how;
    };
    struct Charged {
        std::string name;  // of its file, such as send/m12
        std::uint64_t bytes = 0;
        bool restored = false;  // what it is charged with was read from its file
    };

    // A trace as it is written, with its beginning.
    void traced(std::string_view line);
    // A life that has found no memory may drop what it was about to do.
    void memoryFailed() { memoryFailed_ = true; }
    // What happens in a dialogue.
    void offered(const std::string& recipient) { offered_.insert(recipient); }
    void served(const std::string& recipient) { answered_.insert(recipient); }
    // A reply was late, lost or in pieces: the client may have taken it for another one.
    void misheard() { misheard_ = true; }
    void namedInLog(const std::string& recipient);
    // What was told has arrived everywhere.
    void timeMoves();
    // A mail of the open entry tells of so many repeats.
    void mailed(std::uint32_t repeats);

    const Sums& sums() const { return sums_; }
    // All that was restored has been; once.
    bool takeRestored() { return std::exchange(restoredNow_, false); }
    // Has seen anything yet.
    bool begun() const { return !context_.empty(); }
    // So many traces of the queue have been heard.
    std::uint64_t heard() const { return heard_; }
    // An entry is being mailed.
    bool mails() const { return open_.has_value(); }
    // No entry is anywhere.
    bool atRest() const;
    // Entries on the send list that have files of their own.
    std::size_t waiting() const;
    // Of entries that have come or were saved since this was asked last, those that are still there and may have a
    // file.
    std::vector<Charged> takeWritten();
    std::vector<Problem> takeProblems() { return std::exchange(problems_, {}); }

private:
    enum List { kInit, kSend, kDuplicate, kPersist, kLists };
    struct Entry {
        std::uint64_t charge = 0;
        bool test = false;
        bool restored = false;
        std::int64_t repeats = 0;  // that its mails tell; -1: not known
        bool marked = false;       // for deletion
        std::int64_t pending = 0;  // counted while it waits; -1: not known
    };
    struct Table {
        std::array<std::uint64_t, kLists> counts{};
        std::array<std::uint64_t, kLists> bytes{};
        std::uint64_t count = 0;
        std::uint64_t total = 0;
    };

    void onAdd(std::string_view text);
    void onAdded(std::string_view text);
    void onRemoved(std::string_view text);
    void onSaved(std::string_view text);
    void onCompleted(std::string_view text);
    void onPeek(std::string_view method, std::string_view text);
    void onChores(std::string_view text);
    void beginAdd(bool test);
    void settleAdd();
    void settleHand();
    void leave(List list, Entry entry);
    void settleRecipients();
    void checkTable(const Table& table);
    void broken(const char* rule, const std::string& how);

    std::array<std::map<std::uint32_t, Entry>, kLists> lists_;
    std::deque<Entry> early_;
    std::set<std::pair<std::size_t, std::uint32_t>> written_;  // list and number
    Sums sums_;
    std::uint64_t heard_ = 0;
    std::string context_;         // the operation under way
    std::optional<bool> adding_;  // a message is received; whether it is a test
    bool drained_ = false;        // the next one was received before
    bool restoring_ = false;
    bool restoredNow_ = false;
    std::optional<Entry> hand_;  // has left a list and may come to another
    Reason why_ = kReasons;      // it stays away
    std::optional<std::uint32_t> open_;
    std::optional<std::uint32_t> counting_;  // the count of the repeated entry that is saved next
    std::optional<std::uint32_t> savedLast_;
    bool markedBefore_ = false;  // the entry that was saved last
    std::set<std::string> offered_;
    std::set<std::string> answered_;
    std::set<std::string> unnamed_;  // of the entry that is done: neither served nor named so far
    bool misheard_ = false;
    bool memoryFailed_ = false;
    std::vector<Problem> problems_;
};

}  // namespace box
