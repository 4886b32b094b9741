#include "mesgq/OrvCHMesgQQueue.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <new>

namespace {

std::size_t hashOf(const OrvCHMesg* message) {
    return std::hash<const OrvCHMesg*>()(message);
}

}  // namespace

std::size_t OrvCHMesgQQueue::hashOfKey(std::string_view key) {
    return std::hash<std::string_view>()(key);
}

OrvCHMesgQQueue::~OrvCHMesgQQueue() {
    for (OrvCHMesgQEntry& entry : *this) {
        delete &entry;
    }
}

OrvCHMesgQEntry& OrvCHMesgQQueue::append(std::unique_ptr<OrvCHMesgQEntry> entry) {
    OrvCHMesgQEntry& appended = *entry.release();
    index(appended);
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

bool OrvCHMesgQQueue::isOnQueue(std::uint32_t uniqueId) const {
    return byId_.firstOf(uniqueId) != nullptr;  // the number is its own hash
}

OrvCHMesgQEntry* OrvCHMesgQQueue::findEntry(const OrvCHMesg* message) const {
    OrvCHMesgQEntry* entry = byMessage_.firstOf(hashOf(message));
    while (entry && entry->message.get() != message) {
        entry = byMessage_.nextOf(*entry);
    }
    return entry;
}

OrvCHMesgQEntry* OrvCHMesgQQueue::findDuplicate(std::string_view key) const {
    OrvCHMesgQEntry* first = nullptr;
    for (OrvCHMesgQEntry* entry = byKey_.firstOf(keyHash_(key)); entry; entry = byKey_.nextOf(*entry)) {
        if (entry->duplicateKey == key && (!first || entry->place < first->place)) {
            first = entry;
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

void OrvCHMesgQQueue::clearDupEligible(OrvCHMesgQEntry& entry) {
    byKey_.erase(entry);
    entry.dupEligible = false;
}

void OrvCHMesgQQueue::index(OrvCHMesgQEntry& entry) {
    byMessage_.insert(entry, hashOf(entry.message.get()));
    if (hasFiles()) {
        byId_.insert(entry, entry.uniqueId);
        if (entry.dupEligible) {
            byKey_.insert(entry, keyHash_(entry.duplicateKey));
        }
    }
}

void OrvCHMesgQQueue::unindex(const OrvCHMesgQEntry& entry) {
    byMessage_.erase(entry);
    byId_.erase(entry);
    byKey_.erase(entry);
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
            order_.insert(order_.begin() + 1 + static_cast<std::ptrdiff_t>(order_[0]), entry.uniqueId);
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
