// What is in the event log, without its texts: which entries say the same, and when each came. A search in a log of a
// hundred thousand entries looks at each in here, and reads from the disk only what it finds, once.
#pragma once

#include "switchd/store/LogEntry.h"
#include "switchd/store/LogSelection.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

class LogIndex {
public:
    struct Entry {
        std::uint64_t id = 0;
        std::int64_t time = 0;  // microseconds since 1970
        std::uint32_t what = 0;
    };
    // What entries say.
    struct What {
        std::int32_t level = 0;
        std::uint32_t number = 0;
        std::string component;
        std::string start;         // of the text
        std::size_t length = 0;    // of the whole text
        std::uint64_t latest = 0;  // the number of the last that says it
        std::size_t count = 0;     // 0: nobody says it any more
    };

    // As entries are added to the log, and taken from its old end.
    void add(const LogEntry& entry);
    void dropUpTo(std::uint64_t id);

    const std::deque<Entry>& entries() const { return entries_; }
    const std::vector<What>& whats() const { return whats_; }

    // Whether entries that say this are selected; nothing where the rest of the text decides.
    static std::optional<bool> isSelected(const What& what, const LogSelection& selection);

private:
    // Texts are told apart by their lengths, their starts and 64 bits of all their bytes.
    using Key =
        std::tuple<std::uint64_t, std::size_t, std::int32_t, std::uint32_t, std::uint32_t, std::string, std::string>;
    std::deque<Entry> entries_;
    std::vector<What> whats_;
    std::vector<std::map<Key, std::uint32_t>::iterator> keys_;  // of whats_, in order
    std::vector<std::uint32_t> unused_;                         // places in whats_
    std::map<Key, std::uint32_t> places_;
};
