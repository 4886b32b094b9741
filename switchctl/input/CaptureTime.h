// When a profile's capture runs, as an operator writes it: DAY,HH:MM,WEEKS.
#pragma once

#include <string>

struct CaptureTime {
    std::string day;    // Sun to Sat
    std::string time;   // HH:MM
    std::string weeks;  // 1 to 26

    // Throws UsageError.
    static CaptureTime parse(const std::string& text);
};
