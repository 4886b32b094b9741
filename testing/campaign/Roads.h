// The roads that the campaigns lead the daemon along. What is watched, and made fail, is a road's step.
#pragma once

#include "testing/campaign/Life.h"

#include <span>

struct Road {
    const char* name;
    Life::Settings settings;
    // Before the step; null: nothing.
    void (*prepare)(Life& life);
    void (*step)(Life& life);
    // What was prepared belongs to a life before; the start of the next one is part of the step.
    bool isRestart = false;
    // Mails of counted repeats, which come beside the first one.
    unsigned repeats = 0;
};

std::span<const Road> campaignRoads();
// The events that lives publish at their end, to see that they mail: one each.
inline constexpr unsigned kFirstFurtherEvent = 12;
