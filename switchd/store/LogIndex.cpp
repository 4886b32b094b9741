#include "switchd/store/LogIndex.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace {

// Enough for what a search asks for; a longer one looks at the text itself.
constexpr std::size_t START = 64;

}  // namespace

void LogIndex::add(const LogEntry& entry) {
    const auto place = unused_.empty() ? static_cast<std::uint32_t>(whats_.size()) : unused_.back();
    const auto [known, isNew] =
        places_.emplace(Key{std::hash<std::string_view>()(entry.text), entry.text.size(), entry.level, entry.number,
                            entry.flags, entry.component, entry.text.substr(0, START)},
                        place);
    if (isNew && unused_.empty()) {
        whats_.emplace_back();
        keys_.push_back(known);
    } else if (isNew) {
        unused_.pop_back();
        keys_[place] = known;
    }
    What& what = whats_[known->second];
    if (isNew) {
        what = {entry.level, entry.number, entry.component, entry.text.substr(0, START), entry.text.size(), 0, 0};
    }
    what.latest = entry.id;
    ++what.count;
    entries_.push_back({entry.id, microsecondsOf(entry), known->second});
}

void LogIndex::dropUpTo(std::uint64_t id) {
    while (!entries_.empty() && entries_.front().id <= id) {
        const std::uint32_t place = entries_.front().what;
        entries_.pop_front();
        if (--whats_[place].count == 0) {
            places_.erase(keys_[place]);
            unused_.push_back(place);
        }
    }
}

std::optional<bool> LogIndex::isSelected(const What& what, const LogSelection& selection) {
    if (what.count == 0 || what.level > selection.maxLevel || !selection.wantsFrom(what.component)) {
        return false;
    }
    bool unsure = false;
    for (const LogSelection::Kind& kind : selection.kinds) {
        if (kind.number != what.number || kind.start.size() > what.length) {
            continue;
        }
        const std::size_t common = std::min(kind.start.size(), what.start.size());
        if (std::string_view(kind.start).substr(0, common) != std::string_view(what.start).substr(0, common)) {
            continue;
        }
        if (common == kind.start.size()) {
            return true;
        }
        unsure = true;
    }
    return unsure ? std::nullopt : std::optional(selection.kinds.empty());
}
