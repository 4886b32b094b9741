#include "callhome/OrvEventRing.h"

#include <utility>

void OrvEventRing::drain(const std::function<void(std::uint32_t)>& begin,
                         const std::function<void(const Sw_Log_Type&)>& take) {
    for (std::uint32_t step = 1; step <= kBuckets; ++step) {
        const std::uint32_t bucket = (index_ + step) % kBuckets;
        begin(bucket);
        // Taken out first: handling a record may keep it again.
        const std::list<Sw_Log_Type> records = std::exchange(buckets_[bucket], {});
        for (const Sw_Log_Type& record : records) {
            take(record);
        }
    }
    index_ = 0;
}
