// Where the switch keeps its event log: entries in the order in which they came, numbered from 1.
//
// Numbers only grow, also over a restart. When the log is full the oldest entries go. Main thread only.
#pragma once

#include "switchd/store/LogEntry.h"
#include "switchd/store/LogSelection.h"
#include "switchd/store/LogSeries.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class EventLogStore {
public:
    static constexpr std::size_t CAPACITY = 100000;

    virtual ~EventLogStore() = default;

    // Adds the entry and gives it its number, whatever id it came with. 0, or -1: it is not in the log.
    [[nodiscard]] virtual int append(LogEntry& entry) = 0;
    // The first limit entries that are selected, from the end that is asked for. 0, or -1 (entries unchanged).
    [[nodiscard]] virtual int read(const LogSelection& selection, std::size_t limit,
                                   std::vector<LogEntry>& entries) = 0;
    // All that are selected, oldest first, as long as their texts take no more than so many bytes (but for a single
    // one). 0, or -1 (series unchanged).
    [[nodiscard]] virtual int readSeries(const LogSelection& selection, std::size_t bytes, LogSeries& series);
    // Those with a greater number than id, oldest first.
    [[nodiscard]] int readSince(std::uint64_t id, std::size_t limit, std::vector<LogEntry>& entries) {
        LogSelection selection;
        selection.after = id;
        return read(selection, limit, entries);
    }
    // Why the last operation failed, for an operator to read.
    virtual const std::string& reason() const = 0;

protected:
    // Adds what an entry says; false when there is no room for it.
    static bool takeText(const LogEntry& entry, std::size_t& bytes, LogSeries& series);
};
