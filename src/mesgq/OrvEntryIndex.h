// A hash index over queue entries that needs no memory for an entry: entries are chained through a link of their own.
//
// Thus moving a message from one queue to another cannot fail half way. Only the table of chains is allocated, and
// one that cannot grow makes the chains longer and nothing else, until the next entry. Owns no entry; none may be
// destroyed while it is in an index that is still used. Main thread only.
#pragma once

#include <array>
#include <cstddef>
#include <memory>

struct OrvCHMesgQEntry;

// An entry's place in one index.
struct OrvEntryLink {
    OrvCHMesgQEntry* next = nullptr;
    std::size_t hash = 0;
};

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
