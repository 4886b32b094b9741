// When a profile's capture runs, and what it mails: asked of the daemon's own code, on a copy of the switch.
#pragma once

#include "switchctl/queue/QueueMails.h"
#include "switchd/store/Attribute.h"

#include <cstdint>
#include <string>
#include <vector>

struct CapturePreview {
    static constexpr unsigned DATES = 10;

    struct Run {
        std::int64_t at = 0;   // seconds since 1970
        std::string local;     // with its zone
        bool offTime = false;  // the clock has changed for summer or winter since the schedule was computed
    };

    std::string day;
    std::string time;
    std::string weeks;
    std::vector<Run> runs;
    std::vector<QueueMail> mails;  // of the first one

    // As a daemon has it that reads the profiles now, in seconds since 1970. Throws Refused when the profile has none.
    static CapturePreview of(const std::string& profile, const std::vector<Attribute>& attributes, std::int64_t now);
};
