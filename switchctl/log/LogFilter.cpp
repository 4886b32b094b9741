#include "switchctl/log/LogFilter.h"

#include "catalogue/OrvLogEntries.h"
#include "switchctl/client/Management.h"
#include "switchctl/text/Second.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string_view>

namespace {

bool sameLetter(unsigned char one, unsigned char other) {
    return std::tolower(one) == std::tolower(other);
}

}  // namespace

bool LogFilter::wants(const LogEntry& entry) const {
    const std::int64_t time = entry.seconds * SECOND + entry.microseconds;
    if (entry.id <= sinceId || entry.id > untilId || time < sinceTime || time > untilTime || entry.level > level) {
        return false;
    }
    const std::string& name = entry.component.empty() ? "-" : entry.component;
    if (component && strcasecmp(component->c_str(), name.c_str()) != 0) {
        return false;
    }
    const auto end = entry.text.end();
    return words.empty() || std::search(entry.text.begin(), end, words.begin(), words.end(), sameLetter) != end;
}

std::optional<OrvCatalogueMatch> rowOf(const LogEntry& entry) {
    return Management::isDaemon(entry.component) ? orvRecognise(entry.level, entry.number, entry.text) : std::nullopt;
}

bool isRoutine(const LogEntry& entry) {
    constexpr std::string_view ORDINARY = "Ordinary:";
    if (entry.number != kOrvLogId || (entry.level != kOrvLogDetail && entry.level != kOrvLogInfo)) {
        return false;
    }
    const auto row = rowOf(entry);
    return row && std::string_view(row->row.cause).starts_with(ORDINARY);
}

LogPage LogReader::page(std::uint64_t since, std::int64_t level, std::uint32_t limit) {
    const LogRequest request{since, limit, static_cast<std::int32_t>(level)};
    return OperatorClient::decode<LogPage>(session_.client.call(OperatorCode::READ_LOG, request.encode()));
}

// Doubles until nothing lies behind, then halves.
std::uint64_t LogReader::lastId() {
    std::uint64_t behind = 1;
    std::uint64_t there = 0;
    for (LogPage next = page(0, INT32_MAX, 1); !next.entries.empty(); next = page(behind, INT32_MAX, 1)) {
        there = next.entries.back().id;
        behind = there * 2;
    }
    while (there + 1 < behind) {
        const std::uint64_t middle = there + (behind - there) / 2;
        const LogPage next = page(middle - 1, INT32_MAX, 1);
        if (next.entries.empty()) {
            behind = middle;
        } else {
            there = next.entries.back().id;
        }
    }
    return there;
}

std::vector<LogEntry> LogReader::last(std::size_t count, const std::function<bool(const LogEntry&)>& wanted) {
    constexpr std::uint64_t CHUNK = 500;
    std::vector<LogEntry> newestFirst;
    std::uint64_t end = lastId();
    while (end > 0 && newestFirst.size() < count) {
        const std::uint64_t begin = end > CHUNK ? end - CHUNK : 0;
        std::vector<LogEntry> chunk;
        std::uint64_t since = begin;
        for (bool more = true; more && since < end;) {
            LogPage next = page(since);
            more = next.more && !next.entries.empty();
            since = next.entries.empty() ? end : next.entries.back().id;
            std::ranges::move(next.entries, std::back_inserter(chunk));
        }
        for (auto entry = chunk.rbegin(); entry != chunk.rend() && newestFirst.size() < count; ++entry) {
            if (entry->id <= end && wanted(*entry)) {
                newestFirst.push_back(std::move(*entry));
            }
        }
        end = begin;
    }
    std::ranges::reverse(newestFirst);
    return newestFirst;
}
