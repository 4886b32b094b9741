#include "box/Timeline.h"

#include "box/Aside.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace box {

std::string timeText(Time time) {
    const unsigned long long seconds = time / kSecond;
    char text[48];
    std::snprintf(text, sizeof text, "%llu %02llu:%02llu:%02llu.%06llu", seconds / 86400, seconds / 3600 % 24,
                  seconds / 60 % 60, seconds % 60, static_cast<unsigned long long>(time % kSecond / 1000));
    return text;
}

void Timeline::tell(Time now, std::string_view who, std::string_view what) {
    const Aside aside;
    std::string line = timeText(now);
    line.append(" ").append(who).append(": ").append(what).append("\n");
    take(line);
    if (printing_) {
        std::fwrite(line.data(), 1, line.size(), stdout);
    }
}

void Timeline::take(std::string_view bytes) {
    for (const char byte : bytes) {
        digest_ = (digest_ ^ static_cast<std::uint8_t>(byte)) * 0x100000001B3u;
    }
}

void Timeline::takeTraces(std::string_view bytes) {
    constexpr std::string_view kStands = "CronCaptureItem ";
    for (std::size_t at = bytes.find(kStands); at != std::string_view::npos; at = bytes.find(kStands)) {
        take(bytes.substr(0, at + kStands.size()));
        bytes.remove_prefix(std::min(bytes.find('\n', at), bytes.size()));
    }
    take(bytes);
}

}  // namespace box
