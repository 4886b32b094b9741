// Log events kept while CallHome is all but ready: thirteen buckets of record copies.
//
// Main thread only.
#pragma once

#include "Sw_Log_Type.h"

#include <array>
#include <cstdint>
#include <functional>
#include <list>

class OrvEventRing {
public:
    static constexpr std::uint32_t kBuckets = 13;

    // Keeps a copy in the current bucket.
    void keep(const Sw_Log_Type& record) { buckets_[index_].push_back(record); }

    // Empties every bucket, the one after the current bucket first and the current one last, handing each record
    // to take; begin is told each bucket's number. The first bucket is current afterwards.
    void drain(const std::function<void(std::uint32_t)>& begin, const std::function<void(const Sw_Log_Type&)>& take);

private:
    std::uint32_t index_ = 0;
    std::array<std::list<Sw_Log_Type>, kBuckets> buckets_;
};
