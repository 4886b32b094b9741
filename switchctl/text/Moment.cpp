#include "switchctl/text/Moment.h"

#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <string_view>

namespace {

struct Span {
    std::string_view name;
    std::int64_t seconds;
};

constexpr Span SPANS[] = {
    {"s", 1},       {"sec", 1},      {"second", 1}, {"seconds", 1},   {"m", 60},         {"min", 60},
    {"minute", 60}, {"minutes", 60}, {"h", 3600},   {"hour", 3600},   {"hours", 3600},   {"d", 86400},
    {"day", 86400}, {"days", 86400}, {"w", 604800}, {"week", 604800}, {"weeks", 604800},
};

// "2h ago", "30 min ago".
std::optional<std::int64_t> ago(const std::string& text, std::int64_t now) {
    constexpr std::string_view AGO = " ago";
    if (!text.ends_with(AGO)) {
        return std::nullopt;
    }
    const std::string span = text.substr(0, text.size() - AGO.size());
    const std::size_t digits = std::min(span.find_first_not_of("0123456789"), span.size());
    const auto number = Text::number(span.substr(0, digits), 0, INT32_MAX);
    const std::string unit = Text::trim(span.substr(digits));
    for (const Span& one : SPANS) {
        if (number && unit == one.name) {
            return now - *number * one.seconds * SECOND;
        }
    }
    return std::nullopt;
}

// What stands behind the seconds: a fraction, which is taken off the text.
std::int64_t takeFraction(std::string_view& rest) {
    if (!rest.starts_with('.')) {
        return 0;
    }
    std::int64_t micros = 0;
    std::int64_t unit = SECOND / 10;
    rest.remove_prefix(1);
    while (!rest.empty() && std::isdigit(static_cast<unsigned char>(rest.front())) != 0) {
        micros += (rest.front() - '0') * unit;
        unit /= 10;
        rest.remove_prefix(1);
    }
    return micros;
}

// Seconds east of Greenwich: "Z", "+0100", "+01:00".
std::optional<std::int64_t> zoneOffset(std::string_view text) {
    if (text == "Z") {
        return 0;
    }
    std::string digits(text.substr(std::min<std::size_t>(1, text.size())));
    std::erase(digits, ':');
    const auto number = digits.size() == 4 ? Text::number(digits, 0, 2359) : std::nullopt;
    if (!number || (text.front() != '+' && text.front() != '-')) {
        return std::nullopt;
    }
    const std::int64_t seconds = *number / 100 * 3600 + *number % 100 * 60;
    return text.front() == '-' ? -seconds : seconds;
}

std::optional<std::int64_t> withRest(std::tm time, std::string_view rest) {
    const std::int64_t micros = takeFraction(rest);
    if (rest.empty()) {
        time.tm_isdst = -1;
        return std::int64_t{std::mktime(&time)} * SECOND + micros;
    }
    const auto offset = zoneOffset(rest);
    return offset ? std::optional((std::int64_t{timegm(&time)} - *offset) * SECOND + micros) : std::nullopt;
}

}  // namespace

std::optional<std::int64_t> Moment::parse(const std::string& text, std::int64_t now) {
    if (text == "now") {
        return now;
    }
    if (const auto past = ago(text, now)) {
        return past;
    }
    const std::time_t seconds = now / SECOND;
    std::tm today{};
    localtime_r(&seconds, &today);
    today.tm_hour = today.tm_min = today.tm_sec = 0;
    for (const char* form : {"%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M", "%Y-%m-%d %H:%M", "%Y-%m-%d",
                             "%H:%M:%S", "%H:%M"}) {
        std::tm time = today;
        const char* const end = strptime(text.c_str(), form, &time);
        const auto moment = end != nullptr ? withRest(time, end) : std::nullopt;
        if (moment) {
            return moment;
        }
    }
    return std::nullopt;
}
