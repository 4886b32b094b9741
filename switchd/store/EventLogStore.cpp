#include "switchd/store/EventLogStore.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <tuple>

namespace {

auto saying(const LogEntry& entry) {
    return std::tuple(entry.level, entry.number, entry.flags, std::string_view(entry.component),
                      std::string_view(entry.text));
}

}  // namespace

int EventLogStore::readSeries(const LogSelection& selection, std::size_t bytes, LogSeries& series) {
    LogSelection onwards = selection;
    onwards.newestFirst = false;
    std::vector<LogEntry> entries;
    if (read(onwards, SIZE_MAX, entries) < 0) {
        return -1;
    }
    LogSeries result;
    std::map<decltype(saying(entries.front())), std::uint32_t> known;
    for (const LogEntry& entry : entries) {
        const auto [place, isNew] = known.emplace(saying(entry), static_cast<std::uint32_t>(result.texts.size()));
        if (isNew && (result.more = !takeText(entry, bytes, result))) {
            break;
        }
        result.entries.push_back({place->second, microsecondsOf(entry)});
        result.last = entry.id;
    }
    series = std::move(result);
    return 0;
}

bool EventLogStore::takeText(const LogEntry& entry, std::size_t& bytes, LogSeries& series) {
    if (entry.text.size() > bytes && !series.texts.empty()) {
        return false;
    }
    bytes -= std::min(bytes, entry.text.size());
    series.texts.push_back(entry);
    series.texts.back().id = 0;
    series.texts.back().seconds = 0;
    series.texts.back().microseconds = 0;
    return true;
}
