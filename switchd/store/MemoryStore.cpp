#include "switchd/store/MemoryStore.h"

#include <algorithm>

StoreStatus MemoryStore::get(std::string_view key, Attribute& attribute) {
    const auto found = attributes_.find(key);
    if (found == attributes_.end()) {
        return StoreStatus::MISSING;
    }
    attribute = found->second;
    return StoreStatus::OK;
}

int MemoryStore::list(std::string_view prefix, std::vector<Attribute>& attributes) {
    std::vector<Attribute> result;
    for (auto next = attributes_.lower_bound(prefix); next != attributes_.end() && next->first.starts_with(prefix);
         ++next) {
        result.push_back(next->second);
    }
    attributes = std::move(result);
    return 0;
}

int MemoryStore::apply(const AttributeChange& change) {
    if (!acceptable(change, reason_)) {
        return -1;
    }
    for (const std::string& key : change.unset) {
        attributes_.erase(key);
    }
    for (const Attribute& attribute : change.set) {
        attributes_[attribute.key] = attribute;
    }
    return 0;
}

int MemoryStore::append(LogEntry& entry) {
    entry.id = ++lastId_;
    log_.push_back(entry);
    if (log_.size() > logCapacity_) {
        log_.pop_front();
    }
    return 0;
}

int MemoryStore::read(const LogSelection& selection, std::size_t limit, std::vector<LogEntry>& entries) {
    const auto wanted = [&](const LogEntry& entry) {
        return entry.id > selection.after && entry.id < selection.before && entry.level <= selection.maxLevel &&
               selection.wantsFrom(entry.component) && selection.wantsKind(entry.number, entry.text);
    };
    std::vector<LogEntry> result;
    const auto take = [&](auto next, auto end) {
        for (; next != end && result.size() < limit; ++next) {
            if (wanted(*next)) {
                result.push_back(*next);
            }
        }
    };
    if (selection.newestFirst) {
        take(log_.rbegin(), log_.rend());
    } else {
        take(std::ranges::upper_bound(log_, selection.after, {}, &LogEntry::id), log_.end());
    }
    entries = std::move(result);
    return 0;
}
