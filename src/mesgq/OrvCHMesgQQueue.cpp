#include "mesgq/OrvCHMesgQQueue.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

OrvCHMesgQQueue::~OrvCHMesgQQueue() {
    for (OrvCHMesgQEntry& entry : *this) {
        delete &entry;
    }
}

OrvCHMesgQEntry& OrvCHMesgQQueue::append(std::unique_ptr<OrvCHMesgQEntry> entry) {
    index(*entry);  // may throw; nothing is linked yet
    OrvCHMesgQEntry& appended = *entry.release();
    appended.place = nextPlace_++;
    appended.next = nullptr;
    appended.prev = tail_;
    (tail_ ? tail_->next : head_) = &appended;
    tail_ = &appended;
    ++count_;
    bytes_ += appended.bytesToSave + kEntryOverhead;
    addToOrder(appended);
    return appended;
}

std::unique_ptr<OrvCHMesgQEntry> OrvCHMesgQQueue::unlink(OrvCHMesgQEntry& entry) {
    unindex(entry);
    removeFromOrder(entry);
    (entry.prev ? entry.prev->next : head_) = entry.next;
    (entry.next ? entry.next->prev : tail_) = entry.prev;
    entry.next = entry.prev = nullptr;
    --count_;
    bytes_ -= entry.bytesToSave + kEntryOverhead;
    return std::unique_ptr<OrvCHMesgQEntry>(&entry);
}

std::uint32_t OrvCHMesgQQueue::nextUniqueId() const {
    if (!tail_) {
        return 0;
    }
    std::uint32_t id = tail_->uniqueId + 1;
    while (isOnQueue(id)) {
        ++id;
    }
    return id;
}

OrvCHMesgQEntry* OrvCHMesgQQueue::findEntry(const OrvCHMesg* message) const {
    const auto found = byMessage_.find(message);
    return found == byMessage_.end() ? nullptr : found->second;
}

OrvCHMesgQEntry* OrvCHMesgQQueue::findDuplicate(std::string_view key) const {
    OrvCHMesgQEntry* first = nullptr;
    const auto [begin, end] = byKey_.equal_range(key);
    for (auto candidate = begin; candidate != end; ++candidate) {
        if (!first || candidate->second->place < first->place) {
            first = candidate->second;
        }
    }
    return first;
}

void OrvCHMesgQQueue::clearDupEligible() {
    byKey_.clear();
    for (OrvCHMesgQEntry& entry : *this) {
        entry.dupEligible = false;
    }
}

void OrvCHMesgQQueue::index(OrvCHMesgQEntry& entry) {
    try {
        byMessage_.emplace(entry.message.get(), &entry);
        if (hasFiles()) {
            byId_.emplace(entry.uniqueId, &entry);
            if (entry.dupEligible) {
                byKey_.emplace(entry.duplicateKey, &entry);
            }
        }
    } catch (...) {
        unindex(entry);
        throw;
    }
}

void OrvCHMesgQQueue::unindex(const OrvCHMesgQEntry& entry) {
    byMessage_.erase(entry.message.get());
    if (hasFiles()) {
        byId_.erase(entry.uniqueId);
        removeKey(entry);
    }
}

void OrvCHMesgQQueue::removeKey(const OrvCHMesgQEntry& entry) {
    const auto [begin, end] = byKey_.equal_range(entry.duplicateKey);
    const auto mine = std::find_if(begin, end, [&entry](const auto& candidate) { return candidate.second == &entry; });
    if (mine != end) {
        byKey_.erase(mine);
    }
}

const std::vector<std::uint32_t>* OrvCHMesgQQueue::orderWords() {
    if (orderStale_ && rebuildOrder() < 0) {
        return nullptr;
    }
    return &order_;
}

int OrvCHMesgQQueue::rebuildOrder() {
    try {
        order_.assign(1, 0);
        order_.reserve(std::size_t{count_} + 1);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    orderStale_ = false;
    for (const OrvCHMesgQEntry& entry : *this) {
        addToOrder(entry);
    }
    return 0;
}

void OrvCHMesgQQueue::addToOrder(const OrvCHMesgQEntry& entry) {
    if (orderStale_) {
        return;
    }
    try {
        if (entry.posting.testMsg) {
            order_.push_back(0);
        } else {
            order_.insert(order_.begin() + 1 + order_[0], entry.uniqueId);
            ++order_[0];
        }
    } catch (const std::bad_alloc&) {
        orderStale_ = true;
    }
}

void OrvCHMesgQQueue::removeFromOrder(const OrvCHMesgQEntry& entry) {
    if (orderStale_) {
        return;
    }
    if (entry.posting.testMsg) {
        order_.pop_back();
        return;
    }
    order_.erase(std::find(order_.begin() + 1, order_.end(), entry.uniqueId));
    --order_[0];
}
