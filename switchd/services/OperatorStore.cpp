// OperatorService: attributes, events and the event log.
#include "switchd/services/EventLog.h"
#include "switchd/services/OperatorService.h"
#include "switchd/services/SwitchEvents.h"
#include "switchd/store/AttributeStore.h"

#include <algorithm>

namespace {

std::size_t limitOf(std::uint32_t asked, std::size_t most) {
    return asked == 0 ? most : std::min<std::size_t>(asked, most);
}

}  // namespace

void OperatorService::get(const Caller& caller, const KeyList& request) {
    AttributeAnswers result;
    std::size_t room = MAX_ANSWER;
    for (const std::string& key : request.keys) {
        AttributeAnswers::Answer answer;
        const StoreStatus status = parts_.attributes.get(key, answer.attribute);
        if (status == StoreStatus::FAILED) {
            return refuse(caller, OperatorStatus::FAILED, parts_.attributes.reason());
        }
        if (answer.attribute.value.size() > room) {
            return refuse(caller, OperatorStatus::REFUSED, "the values are too long for one answer");
        }
        room -= answer.attribute.value.size();
        answer.found = status == StoreStatus::OK;
        answer.attribute.key = key;
        result.answers.push_back(std::move(answer));
    }
    done(caller, encodeFields(result));
}

void OperatorService::list(const Caller& caller, const ListRequest& request) {
    std::vector<Attribute> attributes;
    if (parts_.attributes.list(request.prefix, attributes) < 0) {
        return refuse(caller, OperatorStatus::FAILED, parts_.attributes.reason());
    }
    AttributePage page;
    std::size_t bytes = 0;
    for (Attribute& attribute : attributes) {
        if (!request.after.empty() && attribute.key <= request.after) {
            continue;
        }
        bytes += attribute.key.size() + attribute.value.size();
        if (bytes > PAGE_BYTES && !page.attributes.empty()) {
            page.more = true;
            break;
        }
        page.attributes.push_back(std::move(attribute));
    }
    done(caller, encodeFields(page));
}

void OperatorService::change(const Caller& caller, const ChangeRequest& request) {
    KeyList missing;
    for (const std::string& key : request.unset) {
        Attribute present;
        if (parts_.attributes.get(key, present) == StoreStatus::MISSING) {
            missing.keys.push_back(key);
        }
    }
    if (parts_.attributes.apply({request.set, request.unset}) < 0) {
        return refuse(caller, OperatorStatus::FAILED, parts_.attributes.reason());
    }
    done(caller, encodeFields(missing));
}

void OperatorService::publishLog(const Caller& caller, const LogRecord& request) {
    finish(caller, parts_.events.logRecord(request.record, request.timed));
}

void OperatorService::publishState(const Caller& caller, const OneText& request) {
    finish(caller, parts_.events.state(request.text));
}

void OperatorService::publishAddresses(const Caller& caller, const KeyList& request) {
    finish(caller, parts_.events.addresses(request.keys));
}

void OperatorService::publishHostname(const Caller& caller, const OneText& request) {
    parts_.events.hostname(request.text);
    done(caller);
}

void OperatorService::publishEvent(const Caller& caller, const RawEvent& request) {
    parts_.events.raw({request.category, request.number}, request.data);
    done(caller);
}

void OperatorService::finish(const Caller& caller, int result) {
    if (result < 0) {
        return refuse(caller, OperatorStatus::FAILED, parts_.events.reason());
    }
    done(caller);
}

void OperatorService::readLog(const Caller& caller, const LogRequest& request) {
    LogSelection selection;
    selection.after = request.since;
    selection.maxLevel = request.maxLevel;
    answerLog(caller, selection, limitOf(request.limit, PAGE_ENTRIES));
}

void OperatorService::searchLog(const Caller& caller, const LogSearch& request) {
    answerLog(caller, request.selection, limitOf(request.limit, SEARCH_ENTRIES));
}

void OperatorService::logSeries(const Caller& caller, const SeriesRequest& request) {
    SeriesAnswer answer;
    if (parts_.logStore.readSeries(request.selection, SERIES_BYTES, answer.series) < 0) {
        return refuse(caller, OperatorStatus::FAILED, parts_.logStore.reason());
    }
    done(caller, encodeFields(answer));
}

void OperatorService::answerLog(const Caller& caller, const LogSelection& selection, std::size_t limit) {
    LogPage page;
    if (readPage(selection, limit, page) < 0) {
        return refuse(caller, OperatorStatus::FAILED, parts_.logStore.reason());
    }
    done(caller, encodeFields(page));
}

// Reads one entry more than the page can take, to know whether there are more.
int OperatorService::readPage(const LogSelection& selection, std::size_t limit, LogPage& page) {
    std::vector<LogEntry> entries;
    if (parts_.logStore.read(selection, limit + 1, entries) < 0) {
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
void OperatorService::followLog(const Caller& caller, const LogRequest& request) {
    std::vector<LogPage> pages;
    LogSelection selection;
    selection.after = request.since;
    do {
        LogPage page;
        if (readPage(selection, PAGE_ENTRIES, page) < 0) {
            return refuse(caller, OperatorStatus::FAILED, parts_.logStore.reason());
        }
        selection.after = page.entries.empty() ? selection.after : page.entries.back().id;
        pages.push_back(std::move(page));
    } while (pages.back().more);
    done(caller);
    for (const LogPage& page : pages) {
        if (!page.entries.empty()) {
            push(caller, OperatorCode::LOG_LINES, encodeFields(page));
        }
    }
    followers_.push_back(caller);
}

void OperatorService::tellFollowers(const LogEntry& entry) {
    if (followers_.empty()) {
        return;
    }
    const WireBytes body = encodeFields(LogPage{{entry}, false});
    for (const Caller& follower : followers_) {
        push(follower, OperatorCode::LOG_LINES, body);
    }
}
