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

int MemoryStore::readSince(std::uint64_t id, std::size_t limit, std::vector<LogEntry>& entries) {
    const auto first = std::upper_bound(log_.begin(), log_.end(), id,
                                        [](std::uint64_t wanted, const LogEntry& entry) { return wanted < entry.id; });
    const auto available = static_cast<std::size_t>(log_.end() - first);
    entries.assign(first, first + static_cast<std::ptrdiff_t>(std::min(limit, available)));
    return 0;
}
