// The two information blocks of the management responses, as bytes. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// What the processed-information block says of one profile.
struct OrvProfileProcessed {
    std::string name;  // at most 32 characters are sent
    std::uint32_t count = 0;
    std::string last;  // at most 63 characters are sent
};

// orv_ch_profile_processed_info_t: 12 + 104 bytes an entry, big-endian; without profiles one all-zero entry.
std::vector<std::uint8_t> orvProfileProcessedInfo(const std::vector<OrvProfileProcessed>& profiles);

// orv_ch_mesg_q_info_t: five big-endian words, the first two zero; bytes over all queues and message counts.
std::vector<std::uint8_t> orvMesgQInfo(std::uint32_t spaceInUse, std::uint32_t waiting, std::uint32_t open);
