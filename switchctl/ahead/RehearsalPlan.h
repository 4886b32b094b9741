// What is to be rehearsed: how long, how many events, and which mail server is down when.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct RehearsalPlan {
    static constexpr std::int64_t HOUR = 3600;
    static constexpr std::int64_t MOST_HOURS = std::int64_t{24} * 31;
    static constexpr std::int64_t MOST_EVENTS = 100000;

    struct Outage {
        unsigned server = 0;  // 0: the primary, 1: the secondary
        std::int64_t begin = 0;
        std::int64_t end = 0;  // seconds since the rehearsal began
    };

    std::int64_t seconds = 0;
    std::int64_t rate = 0;  // events an hour
    std::vector<Outage> outages;

    // downs: SERVER:SPAN or SERVER:SPAN@START, as in "1:3h" or "2:20m@90m". Throws UsageError when one cannot be read,
    // or they contradict each other.
    static RehearsalPlan parse(std::int64_t hours, std::int64_t rate, const std::vector<std::string>& downs);

    // When its events happen, in seconds.
    std::vector<std::int64_t> events() const;
};
