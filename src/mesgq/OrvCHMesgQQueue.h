// One of the four message queues: a list in order of arrival that owns its entries, with the indexes that keep
// admission equally cheap however many messages wait.
//
// Entries come and go without memory, so that none is lost between two queues. Knows nothing of files, quotas or
// time. Main thread only.
#pragma once

#include "mesgq/OrvCHMesgQEntry.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

class OrvCHMesgQQueue {
public:
    // What an entry is charged beyond its message's bytes.
    static constexpr std::uint32_t kEntryOverhead = 164;

    // A key's hash only makes it cheap to find; keys that share one are told apart.
    using KeyHash = std::size_t (*)(std::string_view key);

    explicit OrvCHMesgQQueue(ORV_CH_MESG_Q_TYPE type, KeyHash keyHash = hashOfKey) : type_(type), keyHash_(keyHash) {}
    ~OrvCHMesgQQueue();
    OrvCHMesgQQueue(const OrvCHMesgQQueue&) = delete;
    OrvCHMesgQQueue& operator=(const OrvCHMesgQQueue&) = delete;

    ORV_CH_MESG_Q_TYPE type() const { return type_; }
    const char* name() const { return orvQueueName(type_); }
    bool hasFiles() const { return type_ != ORV_CH_MESG_Q_INIT; }
    std::uint32_t count() const { return count_; }
    std::uint32_t bytes() const { return bytes_; }
    // False once the queue was rebuilt from a directory listing: entries no longer stand in order of arrival.
    bool ordered() const { return ordered_; }
    void setUnordered() { ordered_ = false; }

    // Appends at the tail. The entry's uniqueId must not be on the queue yet (the init queue numbers nothing).
    OrvCHMesgQEntry& append(std::unique_ptr<OrvCHMesgQEntry> entry);
    // Takes an entry of this queue out.
    std::unique_ptr<OrvCHMesgQEntry> unlink(OrvCHMesgQEntry& entry);

    bool isOnQueue(std::uint32_t uniqueId) const;
    // 0 for an empty queue, else the first free number after the tail's.
    std::uint32_t nextUniqueId() const;
    // The entry that holds exactly this message; null when none does.
    OrvCHMesgQEntry* findEntry(const OrvCHMesg* message) const;
    // The first entry from the head that is eligible and has this key, open or not; null when there is none.
    OrvCHMesgQEntry* findDuplicate(std::string_view key) const;
    // No entry now on the queue, or this one of it, is eligible any more.
    void clearDupEligible();
    void clearDupEligible(OrvCHMesgQEntry& entry);

    // The words of the order file: the count of entries that have files, their uniqueIds from head to tail, and a
    // zero for every test entry. Null when there is no memory for them.
    const std::vector<std::uint32_t>* orderWords();

    // A walk from head to tail that knows the next entry before the current one is handled, so that the current
    // one may be removed.
    class Walk {
    public:
        explicit Walk(OrvCHMesgQEntry* entry) : current_(entry) { next_ = entry ? entry->next : nullptr; }
        OrvCHMesgQEntry& operator*() const { return *current_; }
        Walk& operator++() { return *this = Walk(next_); }
        bool operator!=(const Walk& other) const { return current_ != other.current_; }

    private:
        OrvCHMesgQEntry* current_;
        OrvCHMesgQEntry* next_;
    };
    Walk begin() const { return Walk(head_); }
    Walk end() const { return Walk(nullptr); }

private:
    static std::size_t hashOfKey(std::string_view key);
    void index(OrvCHMesgQEntry& entry);
    void unindex(const OrvCHMesgQEntry& entry);
    void addToOrder(const OrvCHMesgQEntry& entry);
    void removeFromOrder(const OrvCHMesgQEntry& entry);
    int rebuildOrder();

    const ORV_CH_MESG_Q_TYPE type_;
    const KeyHash keyHash_;
    OrvCHMesgQEntry* head_ = nullptr;  // oldest
    OrvCHMesgQEntry* tail_ = nullptr;  // newest
    std::uint32_t count_ = 0;
    std::uint32_t bytes_ = 0;  // charged
    bool ordered_ = true;
    std::uint64_t nextPlace_ = 0;

    OrvEntryIndex byId_{&OrvCHMesgQEntry::byId};
    OrvEntryIndex byMessage_{&OrvCHMesgQEntry::byMessage};
    OrvEntryIndex byKey_{&OrvCHMesgQEntry::byKey};  // eligible entries only
    // Kept up to date entry by entry, for a walk over thousands of entries would cost more than writing the file.
    std::vector<std::uint32_t> order_;
    bool orderStale_ = true;  // memory ran out for it, or it was never asked for
};
