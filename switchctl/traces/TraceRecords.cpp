#include "switchctl/traces/TraceRecords.h"

#include <algorithm>
#include <ctime>

namespace {

// In a layout a digit stands for any digit.
constexpr std::string_view DATE = "00/00/0000 ";
constexpr std::string_view CLOCK = "00:00:00.000 ";
// What the daemon traces when it cannot tell the local time.
constexpr std::string_view NO_TIME = "?\?/?\?/????.??\?";
constexpr std::size_t LONGEST_ZONE = 16;
constexpr std::size_t LONGEST_METHOD = 100;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool hasLayout(std::string_view text, std::string_view layout) {
    return text.size() >= layout.size() &&
           std::equal(layout.begin(), layout.end(), text.begin(),
                      [](char wanted, char c) { return wanted == '0' ? isDigit(c) : wanted == c; });
}

// The length of date, zone and time; 0 when there are none.
std::size_t headLength(std::string_view text) {
    if (text.starts_with(NO_TIME)) {
        return NO_TIME.size();
    }
    if (!hasLayout(text, DATE)) {
        return 0;
    }
    const std::string_view zone = text.substr(DATE.size(), LONGEST_ZONE);
    const std::size_t clock = DATE.size() + zone.find(' ') + 1;
    return zone.find(' ') != std::string_view::npos && hasLayout(text.substr(clock), CLOCK) ? clock + CLOCK.size() - 1
                                                                                            : 0;
}

// Two words without blanks, then a colon: "OrvCallHome probe: ".
std::size_t methodLength(std::string_view text) {
    const std::string_view start = text.substr(0, LONGEST_METHOD);
    const std::size_t colon = start.find(": ");
    const std::string_view words = start.substr(0, colon);
    const bool two = std::ranges::count(words, ' ') == 1 && words.find('\n') == std::string_view::npos;
    return colon != std::string_view::npos && two ? colon : 0;
}

// The record that begins here, up to the end of the text; nothing when none does.
std::optional<TraceRecord> recordAt(std::string_view text) {
    TraceRecord record;
    record.text = text;
    record.head = text.substr(0, headLength(text));
    std::string_view rest = text.substr(record.head.size());
    const std::size_t process = std::min(rest.find_first_not_of(' '), rest.size());
    rest.remove_prefix(process);
    constexpr std::size_t LONGEST_NUMBER = 10;
    std::size_t digits = 0;
    while (digits < std::min(rest.size(), LONGEST_NUMBER) && isDigit(rest[digits])) {
        record.process = record.process * 10 + (rest[digits] - '0');
        ++digits;
    }
    if (record.head.empty() || process == 0 || digits == 0 || !rest.substr(digits).starts_with(' ')) {
        return std::nullopt;
    }
    rest.remove_prefix(digits + 1);
    record.method = rest.substr(0, methodLength(rest));
    if (record.method.empty()) {
        return std::nullopt;
    }
    record.message = rest.substr(record.method.size() + 2);
    return record;
}

void endAt(TraceRecord& record, const char* end) {
    record.message = {record.message.data(), static_cast<std::size_t>(end - record.message.data())};
    record.text = {record.text.data(), static_cast<std::size_t>(end - record.text.data())};
}

int twoDigits(std::string_view text, std::size_t place) {
    return (text[place] - '0') * 10 + (text[place + 1] - '0');
}

}  // namespace

bool TraceRecord::is(const TraceWords& words) const {
    const std::size_t blank = method.find(' ');
    return method.substr(0, blank) == words.module && message.starts_with(words.text) &&
           (words.method.empty() || method.substr(blank + 1) == words.method);
}

std::optional<std::int64_t> TraceRecord::time() const {
    if (head.starts_with('?')) {
        return std::nullopt;
    }
    const std::string_view zone = head.substr(DATE.size(), head.size() - DATE.size() - CLOCK.size());
    const std::string_view clock = head.substr(head.size() - CLOCK.size() + 1);
    std::tm local{};
    local.tm_mon = twoDigits(head, 0) - 1;
    local.tm_mday = twoDigits(head, 3);
    local.tm_year = twoDigits(head, 6) * 100 + twoDigits(head, 8) - 1900;
    local.tm_hour = twoDigits(clock, 0);
    local.tm_min = twoDigits(clock, 3);
    local.tm_sec = twoDigits(clock, 6);
    local.tm_isdst = -1;
    const std::time_t seconds = std::mktime(&local);
    char ours[64] = "";
    if (seconds == -1 || std::strftime(ours, sizeof ours, "%Z", &local) == 0 || zone != ours) {
        return std::nullopt;
    }
    const std::int64_t milliseconds = twoDigits(clock, 9) * 10 + (clock[11] - '0');
    return std::int64_t{seconds} * 1000000 + milliseconds * 1000;
}

// Both kinds of head have a slash as their third character.
std::vector<TraceRecord> traceRecords(std::string_view text) {
    constexpr std::size_t BEFORE_SLASH = 2;
    std::vector<TraceRecord> records;
    for (std::size_t slash = text.find('/', BEFORE_SLASH); slash != std::string_view::npos;) {
        const std::size_t place = slash - BEFORE_SLASH;
        const auto record = recordAt(text.substr(place));
        if (record) {
            if (!records.empty()) {
                endAt(records.back(), text.data() + place);
            }
            records.push_back(*record);
            slash = static_cast<std::size_t>(record->message.data() - text.data());
        }
        slash = text.find('/', slash + 1);
    }
    return records;
}
