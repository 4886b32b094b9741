#include "box/model/Queue.h"

#include <algorithm>
#include <iterator>

namespace model {
namespace {

std::uint32_t age(const Outside& outside, const Entry& entry) {
    return outside.now.uptime < entry.received ? 0 : outside.now.uptime - entry.received;
}

TestResult resultOf(Mark mark) {
    return mark == Mark::kCleared ? TestResult::kCleared : TestResult::kFailed;
}

}  // namespace

// --- Numbers ---

std::size_t Queue::opened() const {
    const Entries& send = list(List::kSend);
    return std::size_t(std::count_if(send.begin(), send.end(), [](const Entry& entry) { return entry.open; }));
}

std::size_t Queue::waiting() const {
    return list(List::kSend).size() - opened();
}

std::uint64_t Queue::bytesInUse() const {
    std::uint64_t bytes = 0;
    for (const Entries& entries : lists_) {
        for (const Entry& entry : entries) {
            bytes += entry.charge();
        }
    }
    return bytes;
}

std::uint32_t Queue::nextNumber(List which) const {
    const Entries& entries = list(which);
    std::uint32_t number = entries.empty() ? 0 : entries.back().number + 1;
    while (std::any_of(entries.begin(), entries.end(), [&](const Entry& entry) { return entry.number == number; })) {
        ++number;
    }
    return number;
}

Queue::Entries::iterator Queue::find(Entry& entry) {
    return std::find_if(entries(List::kSend).begin(), entries(List::kSend).end(),
                        [&](const Entry& one) { return &one == &entry; });
}

// --- A new message ---

void Queue::add(Message message) {
    if (!open_) {
        Entry entry{.message = std::move(message), .received = outside_.now.uptime};
        entries(List::kEarly).push_back(std::move(entry));
    } else if (!message.testProfile.empty() || !countRepeat(message)) {
        admit(std::move(message));
    }
}

Entry* Queue::repeated(List which, const std::string& key) {
    for (Entry& entry : entries(which)) {
        if (entry.eligible && entry.message.key() == key) {
            return &entry;
        }
    }
    return nullptr;
}

bool Queue::countRepeat(const Message& message) {
    const std::string key = message.key();
    if (Entry* mailed = repeated(List::kDuplicate, key)) {
        ++mailed->message.duplicates;
        mailed->message.lastDuplicate = plainTime(outside_.now);
        save(List::kDuplicate, *mailed);
        return true;
    }
    if (Entry* waiting = repeated(List::kSend, key)) {
        ++waiting->repeats;
        waiting->message.lastDuplicate = plainTime(outside_.now);
        save(List::kSend, *waiting);
        return true;
    }
    return false;
}

void Queue::refuse(const char* why) {
    outside_.tell(15, kPlain, why);
}

void Queue::admit(Message message) {
    const std::uint64_t needed = message.size() + 164;
    if (needed > quotas_.space) {
        return refuse("Message is too large");
    }
    if (needed + bytesInUse() > quotas_.space && !makeRoom(needed + bytesInUse() - quotas_.space)) {
        return refuse("Unable to make room for message (filesystem quota limit)");
    }
    if (waiting() >= quotas_.files && !makeRoomForFiles(waiting() - quotas_.files + 1)) {
        return refuse("Unable to make room for message (file limit)");
    }
    Entry entry{.message = std::move(message), .received = outside_.now.uptime};
    entry.eligible = quotas_.throttle && !entry.test();
    append(List::kSend, std::move(entry));
}

// Mailed messages without repeats go first, then the oldest that wait. Each counts four bytes less than it was charged.
bool Queue::makeRoom(std::uint64_t bytes) {
    std::uint64_t freed = 0;
    for (auto next = entries(List::kDuplicate).begin(); next != entries(List::kDuplicate).end();) {
        const auto entry = next++;
        if (entry->message.duplicates == 0) {
            freed += entry->message.size() + 160;
            destroy(List::kDuplicate, entry);
            if (freed >= bytes) {
                return true;
            }
        }
    }
    for (auto next = entries(List::kSend).begin(); next != entries(List::kSend).end();) {
        const auto entry = next++;
        if (entry->open) {
            markOpen(*entry, Mark::kSpace);
            continue;
        }
        freed += entry->message.size() + 160;
        discard(entry);
        if (freed >= bytes) {
            return true;
        }
    }
    return false;
}

bool Queue::makeRoomForFiles(std::size_t count) {
    for (auto next = entries(List::kSend).begin(); next != entries(List::kSend).end();) {
        const auto entry = next++;
        if (entry->open) {
            markOpen(*entry, Mark::kFiles);
            continue;
        }
        discard(entry);
        if (--count == 0) {
            return true;
        }
    }
    return false;
}

// --- Sending ---

Entry* Queue::open() {
    for (Entry& entry : entries(List::kSend)) {
        if (!entry.open && entry.mark == Mark::kNone) {
            entry.open = true;
            return &entry;
        }
    }
    return nullptr;
}

void Queue::close(Entry& entry) {
    entry.open = false;
    if (entry.mark != Mark::kNone) {
        destroy(List::kSend, find(entry), resultOf(entry.mark));
    }
}

void Queue::finish(Entry& entry, bool undelivered) {
    entry.open = false;
    if (!(quotas_.throttle && entry.eligible) && entry.repeats == 0) {
        destroy(List::kSend, find(entry), undelivered ? TestResult::kFailed : TestResult::kPassed);
        return;
    }
    entry.message.duplicates = entry.repeats;
    entry.repeats = 0;
    entry.received = outside_.now.uptime;
    if (quotas_.throttle && entry.eligible) {
        move(List::kSend, find(entry), List::kDuplicate);
    } else {
        save(List::kSend, entry);
    }
}

// --- Once a second ---

void Queue::second() {
    if (!open_) {
        return start();
    }
    for (auto next = entries(List::kSend).begin(); next != entries(List::kSend).end();) {
        const auto entry = next++;
        if (!housekeep(entry)) {
            break;
        }
    }
    expireDuplicates();
    repostPersistent();
}

// False: the entry may stay, and so may all behind it.
bool Queue::housekeep(Entries::iterator entry) {
    if (!entry->open && entry->mark != Mark::kNone) {
        destroy(List::kSend, entry, resultOf(entry->mark));
        return true;
    }
    const Mark why = age(outside_, *entry) > quotas_.discardPeriod ? Mark::kAge
                     : bytesInUse() > quotas_.space                ? Mark::kSpace
                     : waiting() > quotas_.files                   ? Mark::kFiles
                                                                   : Mark::kNone;
    if (why == Mark::kNone) {
        return false;
    }
    if (!entry->open) {
        discard(entry);
    } else if (entry->mark == Mark::kNone) {
        markOpen(*entry, why);
    }
    return true;
}

void Queue::expireDuplicates() {
    for (auto next = entries(List::kDuplicate).begin(); next != entries(List::kDuplicate).end();) {
        const auto entry = next++;
        if (age(outside_, *entry) <= quotas_.throttlePeriod) {
            continue;
        }
        if (entry->mark == Mark::kNone && entry->message.duplicates > 0) {
            entry->eligible = false;
            move(List::kDuplicate, entry, List::kSend);
        } else {
            destroy(List::kDuplicate, entry);
        }
    }
}

void Queue::repostPersistent() {
    for (auto next = entries(List::kPersist).begin(); next != entries(List::kPersist).end();) {
        const auto entry = next++;
        if (age(outside_, *entry) > 86400) {
            move(List::kPersist, entry, List::kSend);
        }
    }
}

// --- On request ---

void Queue::flushDuplicates() {
    for (auto next = entries(List::kDuplicate).begin(); next != entries(List::kDuplicate).end();) {
        const auto entry = next++;
        if (entry->message.duplicates > 0) {
            move(List::kDuplicate, entry, List::kSend);
        } else {
            destroy(List::kDuplicate, entry);
        }
    }
    for (Entry& entry : entries(List::kSend)) {
        entry.eligible = false;
    }
}

void Queue::clear() {
    while (!entries(List::kDuplicate).empty()) {
        destroy(List::kDuplicate, entries(List::kDuplicate).begin());
    }
    for (auto next = entries(List::kSend).begin(); next != entries(List::kSend).end();) {
        const auto entry = next++;
        if (entry->open) {
            markOpen(*entry, Mark::kCleared);
        } else {
            destroy(List::kSend, entry, TestResult::kCleared);
        }
    }
}

// --- Coming and going ---

void Queue::append(List to, Entry entry) {
    entry.number = nextNumber(to);
    entries(to).push_back(std::move(entry));
    if (open_ && (to != List::kDuplicate || hasFile(to, entries(to).back()))) {
        save(to, entries(to).back());
    }
}

Entry Queue::take(List from, Entries::iterator entry) {
    Entry taken = std::move(*entry);
    entries(from).erase(entry);
    if (hasFile(from, taken)) {
        saveOrder(from);
        if (flash_.files.erase(path(from, taken.number)) == 0) {
            outside_.tell(15, kPlain, "Error deleting file " + path(from, taken.number));
        }
    }
    return taken;
}

void Queue::destroy(List from, Entries::iterator entry, TestResult result) {
    const Entry gone = take(from, entry);
    if (from == List::kSend && gone.test()) {
        outside_.respond(107, word(std::uint32_t(result)) + slot(gone.message.testProfile, 36));
    }
}

void Queue::discard(Entries::iterator entry) {
    destroy(List::kSend, entry, TestResult::kFailed);
}

// The send thread has it: it goes when it is given back.
void Queue::markOpen(Entry& entry, Mark mark) {
    entry.mark = mark;
    save(List::kSend, entry);
}

void Queue::move(List from, Entries::iterator entry, List to) {
    append(to, take(from, entry));
}

}  // namespace model
