// What the message queue has counted since the daemon started; never set back. Plain data.
#pragma once

#include <cstdint>

struct OrvCHMesgQStatistics {
    std::uint32_t totalReceived = 0;
    std::uint32_t testReceived = 0;
    std::uint32_t persistentReceived = 0;
    std::uint32_t duplicateReceived = 0;
    std::uint32_t reconstituted = 0;
    std::uint32_t deletedForSpace = 0;
    std::uint32_t deletedForFileLimit = 0;
    std::uint32_t deletedForTime = 0;
    std::uint32_t deletedForClearReq = 0;
    std::uint32_t sendOk = 0;  // finished by the sender, failures included
    std::uint32_t couldNotBeAdded = 0;
    std::uint32_t openCount = 0;          // entries that the sender has now
    std::uint32_t persistentDeleted = 0;  // shown nowhere
};
