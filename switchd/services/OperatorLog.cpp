#include "switchd/services/OperatorLog.h"

#include "switchd/store/EventLogStore.h"

#include <algorithm>
#include <utility>

namespace {

std::size_t limitOf(std::uint32_t asked, std::size_t most) {
    return asked == 0 ? most : std::min<std::size_t>(asked, most);
}

}  // namespace

void OperatorLog::read(const OperatorCaller& caller, const LogRequest& request) {
    LogSelection selection;
    selection.after = request.since;
    selection.maxLevel = request.maxLevel;
    answer(caller, selection, limitOf(request.limit, PAGE_ENTRIES));
}

void OperatorLog::search(const OperatorCaller& caller, const LogSearch& request) {
    answer(caller, request.selection, limitOf(request.limit, SEARCH_ENTRIES));
}

void OperatorLog::series(const OperatorCaller& caller, const SeriesRequest& request) {
    SeriesAnswer found;
    if (store_.readSeries(request.selection, SERIES_BYTES, found.series) < 0) {
        return answers_.refuse(caller, OperatorStatus::FAILED, store_.reason());
    }
    answers_.done(caller, encodeFields(found));
}

void OperatorLog::answer(const OperatorCaller& caller, const LogSelection& selection, std::size_t limit) {
    LogPage page;
    if (readPage(selection, limit, page) < 0) {
        return answers_.refuse(caller, OperatorStatus::FAILED, store_.reason());
    }
    answers_.done(caller, encodeFields(page));
}

// Reads one entry more than the page can take, to know whether there are more.
int OperatorLog::readPage(const LogSelection& selection, std::size_t limit, LogPage& page) {
    std::vector<LogEntry> entries;
    if (store_.read(selection, limit + 1, entries) < 0) {
        return -1;
    }
    LogPage result;
    std::size_t bytes = 0;
    for (LogEntry& entry : entries) {
        bytes += entry.text.size();
        if (result.entries.size() == limit || (bytes > PAGE_BYTES && !result.entries.empty())) {
            result.more = true;
            break;
        }
        result.entries.push_back(std::move(entry));
    }
    page = std::move(result);
    return 0;
}

// What is in the log already comes as the stream's first pages; from then on each entry is a page of its own.
void OperatorLog::follow(const OperatorCaller& caller, const LogRequest& request) {
    std::vector<LogPage> pages;
    LogSelection selection;
    selection.after = request.since;
    do {
        LogPage page;
        if (readPage(selection, PAGE_ENTRIES, page) < 0) {
            return answers_.refuse(caller, OperatorStatus::FAILED, store_.reason());
        }
        selection.after = page.entries.empty() ? selection.after : page.entries.back().id;
        pages.push_back(std::move(page));
    } while (pages.back().more);
    answers_.done(caller);
    for (const LogPage& page : pages) {
        if (!page.entries.empty()) {
            answers_.push(caller, OperatorCode::LOG_LINES, encodeFields(page));
        }
    }
    followers_.push_back(caller);
}

void OperatorLog::tell(const LogEntry& entry) {
    if (followers_.empty()) {
        return;
    }
    const WireBytes body = encodeFields(LogPage{{entry}, false});
    for (const OperatorCaller& follower : followers_) {
        answers_.push(follower, OperatorCode::LOG_LINES, body);
    }
}
