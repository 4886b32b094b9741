// Which entries of the event log are wanted, and how the log is read for them.
#pragma once

#include "catalogue/OrvEventCatalogue.h"
#include "switchctl/client/Session.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

struct LogFilter {
    std::uint64_t sinceId = 0;
    std::int64_t sinceTime = INT64_MIN;  // microseconds since 1970
    std::uint64_t untilId = UINT64_MAX;
    std::int64_t untilTime = INT64_MAX;
    std::int64_t level = INT32_MAX;
    std::optional<std::string> component;  // in any case; "-" for none
    std::string words;                     // that stand in the text, in any case

    bool wants(const LogEntry& entry) const;
};

// Its row of the catalogue, where it is one of the daemon's.
std::optional<OrvCatalogueMatch> rowOf(const LogEntry& entry);
// An entry that the daemon writes in the ordinary course of things, such as for each attribute that it asks for.
bool isRoutine(const LogEntry& entry);

class LogReader {
public:
    explicit LogReader(Session& session) : session_(session) {}

    // A page of entries behind this one, oldest first, up to the level; whether there are more.
    LogPage page(std::uint64_t since, std::int64_t level = INT32_MAX, std::uint32_t limit = 0);
    // A page of those that are selected, from the end that is asked for.
    LogPage search(const LogSelection& selection, std::uint32_t limit = 0);
    // All that are selected, what they say once, as far as one answer holds them.
    LogSeries series(const LogSelection& selection);
    // The oldest entry and the newest; nothing for an empty log.
    std::optional<LogEntry> first();
    std::optional<LogEntry> latest();
    // The number of the last entry; 0 for an empty log.
    std::uint64_t lastId();
    // The last so many that are wanted, oldest first: read from the end of the log.
    std::vector<LogEntry> last(std::size_t count, const std::function<bool(const LogEntry&)>& wanted);

private:
    Session& session_;
};
