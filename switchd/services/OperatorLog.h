// The event log as the operator reads it: in pages, searched, as a series, and followed. Main thread only.
#pragma once

#include "switchd/services/OperatorAnswers.h"

#include <cstddef>
#include <vector>

class EventLogStore;

class OperatorLog {
public:
    // No page holds more than this many entries, a search more than so many, or (but for a single one) this many bytes
    // of texts.
    static constexpr std::size_t PAGE_ENTRIES = 500;
    static constexpr std::size_t SEARCH_ENTRIES = 5000;
    static constexpr std::size_t PAGE_BYTES = std::size_t{1024} * 1024;
    // Of the texts in a series, each of which it has once.
    static constexpr std::size_t SERIES_BYTES = std::size_t{4} * 1024 * 1024;

    // Both outlive it.
    OperatorLog(const OperatorAnswers& answers, EventLogStore& store) : answers_(answers), store_(store) {}

    void read(const OperatorCaller& caller, const LogRequest& request);
    void search(const OperatorCaller& caller, const LogSearch& request);
    void series(const OperatorCaller& caller, const SeriesRequest& request);
    // The caller is told of all that comes, until he is forgotten.
    void follow(const OperatorCaller& caller, const LogRequest& request);

    // A new entry.
    void tell(const LogEntry& entry);
    // How many followers there were.
    std::size_t forget(const OperatorCallers& matches) { return std::erase_if(followers_, matches); }

private:
    void answer(const OperatorCaller& caller, const LogSelection& selection, std::size_t limit);
    [[nodiscard]] int readPage(const LogSelection& selection, std::size_t limit, LogPage& page);

    const OperatorAnswers& answers_;
    EventLogStore& store_;
    std::vector<OperatorCaller> followers_;
};
