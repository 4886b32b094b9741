// The profiles as a daemon that has read them tells of them in its probe.
#pragma once

#include "ahead/wire/Timetable.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct ProbedProfile {
    std::string name;
    std::string level;
    std::uint32_t processed = 0;  // events that it has got a mail of
    std::vector<std::string> recipients;
    std::map<std::string, std::string> values;  // all of the form "key = value"

    // Of the traces of one moment, in the daemon's order.
    static std::vector<ProbedProfile> allAt(const std::vector<ahead::Trace>& traces, std::uint64_t moment);
};
