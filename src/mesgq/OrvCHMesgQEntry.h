// One message as its queue keeps it, how it is found again, and the four queues by name.
//
// Plain data. An entry belongs to one OrvCHMesgQQueue at a time, which links, indexes and frees it. Main thread only.
#pragma once

#include "mesg/OrvCHMesg.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

enum ORV_CH_MESG_Q_TYPE : std::uint32_t {
    ORV_CH_MESG_Q_INIT = 0,       // arrived before the queue was open for business; memory only
    ORV_CH_MESG_Q_SEND = 1,       // waiting to be mailed
    ORV_CH_MESG_Q_DUPLICATE = 2,  // mailed; repeats of them are counted for a while
    ORV_CH_MESG_Q_PERSIST = 3     // persistent messages between two postings
};
inline constexpr std::size_t kOrvQueueTypes = 4;

// The name of a queue in every trace; "Invalid" for any other value.
inline const char* orvQueueName(ORV_CH_MESG_Q_TYPE type) {
    constexpr const char* kNames[kOrvQueueTypes] = {"init", "send", "duplicate", "persist"};
    return type < kOrvQueueTypes ? kNames[type] : "Invalid";
}

inline const char* orvTrueFalse(bool value) {
    return value ? "true" : "false";
}

// Why an entry is to be deleted as soon as it is closed; the numbers stand in its file.
enum OrvDeletionReason : std::uint32_t {
    kOrvNotMarked = 0,
    kOrvMarkedByClear = 1,
    kOrvMarkedForSpace = 2,
    kOrvMarkedForFileLimit = 3,
    kOrvMarkedForTime = 4
};

// The results that a test message's profile is told.
inline constexpr int kOrvPassed = 0;
inline constexpr int kOrvFailed = 1;
inline constexpr int kOrvCleared = 2;

// peekDelete calls that wait for the end of a sync.
inline constexpr std::uint32_t kOrvPendingSuccess = 1;
inline constexpr std::uint32_t kOrvPendingFailure = 2;

// How a message is to be posted.
struct OrvCHPosting {
    bool testMsg = false;                       // for one test profile; never written to flash
    bool persist = false;                       // posted again and again
    std::uint32_t persistRepostPeriod = 86400;  // seconds on the persist queue between two postings
    std::int32_t expire = -1;                   // postings still to be made; -1 without end

    // Neither a test nor persistent: only such messages are ever taken for repeats of each other.
    bool ordinary() const { return !testMsg && !persist; }
};

struct OrvCHMesgQEntry;

// An entry's place in one index.
struct OrvEntryLink {
    OrvCHMesgQEntry* next = nullptr;
    std::size_t hash = 0;
};

struct OrvCHMesgQEntry {
    OrvCHMesgQEntry* next = nullptr;
    OrvCHMesgQEntry* prev = nullptr;
    std::uint64_t place = 0;  // grows from head to tail

    std::uint32_t received = 0;  // uptime seconds
    bool open = false;           // the sender has it
    bool dupEligible = false;    // changed only through the queue while it is on one
    OrvCHPosting posting;
    std::uint32_t markedForDeletion = kOrvNotMarked;  // an OrvDeletionReason
    std::uint32_t duplicatesPending = 0;              // repeats that came while it was on the send queue
    std::uint32_t uniqueId = 0;                       // its number within its queue, and in the name of its file
    std::uint32_t pendingOps = 0;                     // kOrvPending... bits
    std::uint32_t postponedUntil = 0;                 // uptime seconds; 0: not postponed
    std::uint32_t bytesToSave = 0;       // the message's estimate when it came: what is charged is also given back
    bool fileMissing = false;            // entered a queue with files before files could be written
    std::string duplicateKey;            // the message's; empty for one that was never eligible
    std::unique_ptr<OrvCHMesg> message;  // never null

    // The queue's own.
    OrvEntryLink byId;
    OrvEntryLink byMessage;
    OrvEntryLink byKey;
};

// A hash index over queue entries that needs no memory for an entry: entries are chained through a link of their own.
//
// Thus moving a message from one queue to another cannot fail half way. Only the table of chains is allocated, and
// one that cannot grow makes the chains longer and nothing else, until the next entry. Owns no entry; none may be
// destroyed while it is in an index that is still used.
class OrvEntryIndex {
public:
    using Link = OrvEntryLink OrvCHMesgQEntry::*;

    explicit OrvEntryIndex(Link link) : link_(link) {}
    OrvEntryIndex(const OrvEntryIndex&) = delete;
    OrvEntryIndex& operator=(const OrvEntryIndex&) = delete;

    // The entry must not be in this index yet.
    void insert(OrvCHMesgQEntry& entry, std::size_t hash);
    // Does nothing for an entry that is not in this index.
    void erase(const OrvCHMesgQEntry& entry);
    void clear();

    // The entries with this hash, in no order: first the one returned here, then those of nextOf() until null.
    OrvCHMesgQEntry* firstOf(std::size_t hash) const;
    OrvCHMesgQEntry* nextOf(const OrvCHMesgQEntry& entry) const;

private:
    static constexpr unsigned kFirstBits = 3;
    static constexpr unsigned kMostBits = 24;

    std::size_t size() const { return std::size_t{1} << bits_; }
    OrvCHMesgQEntry*& chainOf(std::size_t hash) const;
    OrvCHMesgQEntry* withHash(OrvCHMesgQEntry* entry, std::size_t hash) const;
    void grow();

    const Link link_;
    std::array<OrvCHMesgQEntry*, 1 << kFirstBits> firstTable_{};  // there before there is any memory
    std::unique_ptr<OrvCHMesgQEntry*[]> table_;                   // in its place since it was grown
    OrvCHMesgQEntry** chains_ = firstTable_.data();
    unsigned bits_ = kFirstBits;
    std::size_t count_ = 0;
};
