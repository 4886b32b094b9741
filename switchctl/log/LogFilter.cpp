#include "switchctl/log/LogFilter.h"

#include "catalogue/OrvLogEntries.h"
#include "switchctl/client/Management.h"
#include "switchctl/text/Second.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
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
    if (entry.number != kOrvLogId || (entry.level != kOrvLogDetail && entry.level != kOrvLogInfo)) {
        return false;
    }
    const auto row = rowOf(entry);
    return row && row->row.isOrdinary();
}

LogPage LogReader::page(std::uint64_t since, std::int64_t level, std::uint32_t limit) {
    const LogRequest request{since, limit, static_cast<std::int32_t>(level)};
    return OperatorClient::decode<LogPage>(session_.client.call(OperatorCode::READ_LOG, encodeFields(request)));
}

LogPage LogReader::search(const LogSelection& selection, std::uint32_t limit) {
    const LogSearch request{selection, limit};
    return OperatorClient::decode<LogPage>(session_.client.call(OperatorCode::SEARCH_LOG, encodeFields(request)));
}

LogSeries LogReader::series(const LogSelection& selection) {
    const SeriesRequest request{selection};
    return OperatorClient::decode<SeriesAnswer>(session_.client.call(OperatorCode::LOG_SERIES, encodeFields(request)))
        .series;
}

std::optional<LogEntry> LogReader::first() {
    LogPage oldest = search({}, 1);
    return oldest.entries.empty() ? std::nullopt : std::optional(std::move(oldest.entries.front()));
}

std::optional<LogEntry> LogReader::latest() {
    LogSelection back;
    back.newestFirst = true;
    LogPage newest = search(back, 1);
    return newest.entries.empty() ? std::nullopt : std::optional(std::move(newest.entries.front()));
}

std::uint64_t LogReader::lastId() {
    const auto entry = latest();
    return entry ? entry->id : 0;
}

std::vector<LogEntry> LogReader::last(std::size_t count, const std::function<bool(const LogEntry&)>& wanted) {
    std::vector<LogEntry> newestFirst;
    LogSelection back;
    back.newestFirst = true;
    for (bool more = true; more && newestFirst.size() < count;) {
        LogPage page = search(back);
        more = page.more && !page.entries.empty();
        for (LogEntry& entry : page.entries) {
            back.before = entry.id;
            if (newestFirst.size() < count && wanted(entry)) {
                newestFirst.push_back(std::move(entry));
            }
        }
    }
    std::ranges::reverse(newestFirst);
    return newestFirst;
}
