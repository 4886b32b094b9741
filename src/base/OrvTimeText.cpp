#include "base/OrvTimeText.h"

#include "base/OrvText.h"
#include "uptime.h"

#include <algorithm>

namespace {

constexpr std::size_t kTimeTextSize = 128;
constexpr std::size_t kNowTextSize = 64;
constexpr std::size_t kMailDateSize = 80;
constexpr char kNoTimeText[] = "??? ??? ?? ??:??:??: ??? ????";

}  // namespace

int orvLocalTime(std::time_t seconds, std::tm& local) {
    std::tm result{};
    if (localtime_r(&seconds, &result) == nullptr) {
        return -1;
    }
    local = result;
    return 0;
}

std::string orvTimeFormat(std::size_t size, const char* format, const std::tm& local) {
    char buffer[kTimeTextSize];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const std::size_t length = std::strftime(buffer, std::min(size, sizeof buffer), format, &local);
#pragma GCC diagnostic pop
    return std::string(buffer, length);
}

std::string orvNowText() {
    std::tm local{};
    if (orvLocalTime(orvCalendarNow(), local) < 0) {
        return kNoTimeText;
    }
    const std::string text = orvTimeFormat(kNowTextSize, "%a %b %d %X %Z %Y", local);
    return text.empty() ? kNoTimeText : text;
}

std::string orvEventTimeText(std::time_t seconds, std::uint32_t microseconds) {
    std::tm local{};
    if (orvLocalTime(seconds, local) < 0) {
        return "";
    }
    return orvTimeFormat(kTimeTextSize, "%a %b %d %X", local) + orvFormat(".%03u ", microseconds / 1000) +
           orvTimeFormat(kTimeTextSize, "%Z %Y", local);
}

static std::string dateText(std::time_t seconds, const char* format) {
    std::tm local{};
    if (orvLocalTime(seconds, local) < 0) {
        return "";
    }
    return orvTimeFormat(kMailDateSize, format, local);
}

std::string orvMailDateText(std::time_t seconds) {
    return dateText(seconds, "%a, %d  %b  %Y  %H:%M:%S  %z");
}

std::string orvInternetDateText(std::time_t seconds) {
    return dateText(seconds, "%a, %d %b %Y %H:%M:%S %z");
}

std::time_t orvCalendarNow() {
    return static_cast<std::time_t>(calendar_time().tv_sec);
}
