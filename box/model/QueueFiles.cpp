// The queue's files, and what a start makes of them.
#include "box/model/Queue.h"

#include <algorithm>
#include <cstring>

namespace model {
namespace {

std::string native(std::uint32_t value) {
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

std::string stateBlock(const Entry& entry) {
    return printed(
        "<OrvCHMesgQ>\nduplicatesPending = %u\npersist = false\npersistRepostPeriod = 86400\nmarkedForDeletion = %d\n"
        "expire = -1\n</OrvCHMesgQ>\n",
        entry.repeats, int(entry.mark));
}

}  // namespace

std::string Queue::directory(List list) {
    const char* const names[] = {"", "send", "duplicate", "persist"};
    return std::string("/ostrel/conf/orv/callHome/queues/") + names[int(list)];
}

std::string Queue::path(List list, std::uint32_t number) const {
    return directory(list) + "/m" + std::to_string(number);
}

bool Queue::hasFile(List list, const Entry& entry) const {
    return list != List::kEarly && !entry.test() && (list != List::kDuplicate || entry.message.duplicates > 0);
}

void Queue::save(List list, const Entry& entry) {
    if (!entry.test()) {
        saveOrder(list);
        flash_.write(path(list, entry.number), fileOf(entry.message) + stateBlock(entry));
    }
}

// How many have a file, their numbers, and a zero for each test message.
void Queue::saveOrder(List which) {
    std::string numbers;
    std::uint32_t count = 0;
    for (const Entry& entry : list(which)) {
        if (!entry.test()) {
            numbers += native(entry.number);
            ++count;
        }
    }
    numbers.resize(4 * list(which).size(), '\0');
    flash_.write(directory(which) + "/order", native(count) + numbers);
}

// --- A start ---

void Queue::start() {
    for (const List each : {List::kDuplicate, List::kSend, List::kPersist}) {
        restore(each);
    }
    const std::size_t restored = list(List::kSend).size();
    flushDuplicates();
    open_ = true;
    for (auto entry = std::next(entries(List::kSend).begin(), std::ptrdiff_t(restored));
         entry != entries(List::kSend).end(); ++entry) {
        save(List::kSend, *entry);
    }
    while (!entries(List::kEarly).empty()) {  // one by one: those that still wait take their room
        Message message = std::move(entries(List::kEarly).front().message);
        entries(List::kEarly).pop_front();
        add(std::move(message));
    }
}

// An empty order file stands for an empty queue; with any other one, or none, the directory is listed.
void Queue::restore(List which) {
    const std::string order = directory(which) + "/order";
    const std::string* const bytes = flash_.read(order);
    if (bytes != nullptr && bytes->size() < 4) {
        return;
    }
    outside_.tell(
        16, kPlain,
        bytes == nullptr ? "Unable to open file " + order : "Unable to read 'count' field from file " + order);
    for (const std::string& name : flash_.entriesIn(directory(which))) {
        bool outOfRange = false;
        const std::uint32_t number = toUnsigned(name.substr(1), &outOfRange);
        if (outOfRange) {
            outside_.tell(16, kPlain, "Invalid file name " + name + "\n, skipping");
        } else {
            restoreEntry(which, number);
        }
    }
}

void Queue::restoreEntry(List which, std::uint32_t number) {
    const std::string from = path(which, number);
    const std::string* const bytes = flash_.read(from);
    if (bytes == nullptr || bytes->empty()) {
        outside_.tell(15, kPlain, "File " + from + " is empty, ignoring");
    }
    std::optional<Message> message = bytes == nullptr ? std::nullopt : messageIn(*bytes);
    if (!message) {
        outside_.tell(16, kPlain, "Error restoring message from " + from + ", ignoring");
        return;
    }
    if (std::any_of(list(which).begin(), list(which).end(),
                    [&](const Entry& entry) { return entry.number == number; })) {
        outside_.tell(15, kPlain, "Duplicate uniqueId, ignored");
        outside_.tell(16, kPlain, "Unable to add message from file " + from + " to queue");
        return;
    }
    Entry entry{.message = std::move(*message), .number = number, .received = outside_.now.uptime};
    entry.eligible = quotas_.throttle;
    entry.message.size();  // as it was read: what changes later is not charged
    entries(which).push_back(std::move(entry));
}

}  // namespace model
