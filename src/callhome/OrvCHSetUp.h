// What the configuration says now: whether CallHome may send, what is still being read, and the profiles in use.
//
// The configuration cycle writes it; everybody else reads. Main thread only.
#pragma once

#include "profile/OrvCHProfile.h"

#include <bitset>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

struct OrvCHSetUp {
    // What must be true before CallHome takes in events; bit numbers of condition.
    enum ConditionBit : std::size_t {
        kFeatureAllowed = 0,
        kServiceEnabled = 1,
        kServersUsable = 2,
        kSenderConfigured = 3,
        kProfilesFound = 4,
        kStarted = 5  // Kept: no operation clears it, so the event ring stays empty.
    };
    std::bitset<6> condition{63};
    // The parts of the configuration that are still being read; bit numbers are those of OrvConfigListener.
    std::bitset<6> config;
    // A read cycle has finished with the profiles, and none is running.
    bool readyForMessage = false;
    std::vector<std::unique_ptr<OrvCHProfile>> profiles;

    bool serviceAllowed() const { return condition[kFeatureAllowed] && condition[kServiceEnabled]; }
    // The first profile of exactly this name; null when there is none.
    OrvCHProfile* profileByName(const std::string& name) const {
        for (const auto& profile : profiles) {
            if (profile->name() == name) {
                return profile.get();
            }
        }
        return nullptr;
    }
};
