#include "box/model/Records.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>

namespace model {
namespace {

struct Calendar {
    int year;
    unsigned month, day, weekday;
    unsigned hour, minute, second;
};

Calendar calendar(std::int64_t seconds) {
    using namespace std::chrono;
    const sys_seconds time{std::chrono::seconds(seconds)};
    const sys_days day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss clock{time - day};
    return {int(date.year()),
            unsigned(date.month()),
            unsigned(date.day()),
            weekday(day).c_encoding(),
            unsigned(clock.hours().count()),
            unsigned(clock.minutes().count()),
            unsigned(clock.seconds().count())};
}

const char* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::string monthToSecond(const Calendar& at) {
    return printed("%s %s %02u %02u:%02u:%02u", kDays[at.weekday], kMonths[at.month - 1], at.day, at.hour, at.minute,
                   at.second);
}

// Digits after blanks and a sign; the magnitude stops above 32 bits.
struct Digits {
    bool negative = false;
    std::uint64_t magnitude = 0;
};

Digits digits(std::string_view text) {
    Digits found;
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
        found.negative = text[0] == '-';
        text.remove_prefix(1);
    }
    for (const char c : text) {
        if (c < '0' || c > '9') {
            break;
        }
        found.magnitude = std::min<std::uint64_t>(found.magnitude * 10 + unsigned(c - '0'), 0x100000000u);
    }
    return found;
}

}  // namespace

void Outside::write(const std::string& key, const std::string& value) {
    attributes[key] = value;
    writes.push_back({key, value});
}

std::string printed(const char* format, ...) {
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    std::string text(std::size_t(std::vsnprintf(nullptr, 0, format, arguments)), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    va_end(arguments);
    return text;
}

std::uint32_t toUnsigned(std::string_view text, bool* outOfRange) {
    const Digits found = digits(text);
    if (found.magnitude > 0xFFFFFFFFu) {
        if (outOfRange != nullptr) {
            *outOfRange = true;
        }
        return 0xFFFFFFFFu;
    }
    const auto value = std::uint32_t(found.magnitude);
    return found.negative ? 0u - value : value;
}

std::int32_t toSigned(std::string_view text) {
    const Digits found = digits(text);
    const auto value = std::int64_t(found.magnitude);
    return std::int32_t(std::clamp<std::int64_t>(found.negative ? -value : value, INT32_MIN, INT32_MAX));
}

std::string word(std::uint32_t value) {
    return {char(value >> 24), char(value >> 16), char(value >> 8), char(value)};
}

std::string slot(std::string_view text, std::size_t size) {
    std::string field(text.substr(0, size - 1));
    field.resize(size, '\0');
    return field;
}

std::string plainTime(const Now& now) {
    const Calendar at = calendar(now.seconds);
    return monthToSecond(at) + printed(" UTC %d", at.year);
}

std::string recordTime(std::int64_t seconds, std::uint32_t microseconds) {
    const Calendar at = calendar(seconds);
    return monthToSecond(at) + printed(".%03u UTC %d", microseconds / 1000, at.year);
}

std::string mailTime(const Now& now) {
    const Calendar at = calendar(now.seconds);
    return printed("%s, %02u  %s  %d  %02u:%02u:%02u  +0000", kDays[at.weekday], at.day, kMonths[at.month - 1], at.year,
                   at.hour, at.minute, at.second);
}

}  // namespace model
