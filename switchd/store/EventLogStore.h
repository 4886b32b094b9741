// Where the switch keeps its event log: entries in the order in which they came, numbered from 1.
//
// Numbers only grow, also over a restart. When the log is full the oldest entries go. Main thread only.
#pragma once

#include "switchd/store/LogEntry.h"

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
    // Up to limit entries with a greater number than id, oldest first. 0, or -1 (entries unchanged).
    [[nodiscard]] virtual int readSince(std::uint64_t id, std::size_t limit, std::vector<LogEntry>& entries) = 0;
    // Why the last operation failed, for an operator to read.
    virtual const std::string& reason() const = 0;
};
