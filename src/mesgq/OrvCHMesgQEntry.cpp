#include "mesgq/OrvCHMesgQEntry.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>

// Fibonacci hashing: consecutive numbers and aligned addresses spread alike.
OrvCHMesgQEntry*& OrvEntryIndex::chainOf(std::size_t hash) const {
    constexpr std::uint32_t kGoldenRatio = 2654435769u;
    return chains_[static_cast<std::uint32_t>(hash) * kGoldenRatio >> (32 - bits_)];
}

void OrvEntryIndex::insert(OrvCHMesgQEntry& entry, std::size_t hash) {
    if (count_ >= size()) {  // more when a table was missed before
        grow();
    }
    OrvCHMesgQEntry*& chain = chainOf(hash);
    entry.*link_ = {std::exchange(chain, &entry), hash};
    ++count_;
}

void OrvEntryIndex::erase(const OrvCHMesgQEntry& entry) {
    for (OrvCHMesgQEntry** at = &chainOf((entry.*link_).hash); *at; at = &((*at)->*link_).next) {
        if (*at == &entry) {
            *at = (entry.*link_).next;
            --count_;
            return;
        }
    }
}

void OrvEntryIndex::clear() {
    std::fill_n(chains_, size(), nullptr);
    count_ = 0;
}

OrvCHMesgQEntry* OrvEntryIndex::firstOf(std::size_t hash) const {
    return withHash(chainOf(hash), hash);
}

OrvCHMesgQEntry* OrvEntryIndex::nextOf(const OrvCHMesgQEntry& entry) const {
    return withHash((entry.*link_).next, (entry.*link_).hash);
}

OrvCHMesgQEntry* OrvEntryIndex::withHash(OrvCHMesgQEntry* entry, std::size_t hash) const {
    while (entry && (entry->*link_).hash != hash) {
        entry = (entry->*link_).next;
    }
    return entry;
}

void OrvEntryIndex::grow() {
    if (bits_ == kMostBits) {
        return;
    }
    std::unique_ptr<OrvCHMesgQEntry*[]> grown(new (std::nothrow) OrvCHMesgQEntry*[2 * size()]());
    if (!grown) {
        return;
    }
    OrvCHMesgQEntry** const former = std::exchange(chains_, grown.get());
    const std::size_t formerSize = size();
    ++bits_;
    for (std::size_t i = 0; i < formerSize; ++i) {
        while (OrvCHMesgQEntry* const entry = former[i]) {
            OrvEntryLink& link = entry->*link_;
            former[i] = link.next;
            link.next = std::exchange(chainOf(link.hash), entry);
        }
    }
    table_ = std::move(grown);
}
