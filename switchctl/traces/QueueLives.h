// The entries of the daemon's queue as its main trace tells of them, each from its coming to its going.
#pragma once

#include "switchctl/traces/TraceRecords.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class QueueLives {
public:
    struct Step {
        std::int64_t time = 0;  // microseconds since 1970
        const char* source;     // "queue", "flash"
        std::string text;
    };
    struct Span {
        std::int64_t begin = 0;
        std::int64_t end = INT64_MAX;
    };
    struct Life {
        std::vector<Step> steps;
        std::vector<Span> sends;  // while the send thread had it
    };

    // The next record of the main trace.
    void take(const TraceRecord& record);
    // The one that has this number in this list or, where none has it now, had it last. Null for none.
    const Life* find(const std::string& list, std::uint32_t number) const;

private:
    using Place = std::pair<std::string, std::uint32_t>;

    void takeMove(std::string_view message, std::int64_t time);
    void takeFile(bool saved, std::string_view message, std::int64_t time);
    void takeSend(bool opened, std::string_view message, std::int64_t time);
    std::size_t lifeAt(const Place& place);
    void tell(std::size_t life, std::int64_t time, const char* source, std::string text);

    std::vector<Life> lives_;
    std::map<Place, std::size_t> places_;  // Those that have gone keep theirs until somebody else has it.
    std::optional<std::size_t> inHand_;    // has left a list and may come to another
    std::optional<std::size_t> saved_;     // was written last: a repeat that is told next is its
};
