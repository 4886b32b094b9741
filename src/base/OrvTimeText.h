// Times as texts, in local time. Any thread; the calendar is the platform's.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

// "%a %b %d %X %Z %Y" of now, at most 63 characters; "??? ??? ?? ??:??:??: ??? ????" when there is no local time, or
// none that short.
std::string orvNowText();
// "%a %b %d %X.mmm %Z %Y" of a log event's time; empty when there is no local time.
std::string orvEventTimeText(std::time_t seconds, std::uint32_t microseconds);
// "%a, %d  %b  %Y  %H:%M:%S  %z", at most 79 characters; empty when there is no local time.
std::string orvMailDateText(std::time_t seconds);
// "%a, %d %b %Y %H:%M:%S %z", as RFC 5322 has it in section 3.3; empty when there is no local time.
std::string orvInternetDateText(std::time_t seconds);
// The calendar's seconds now.
std::time_t orvCalendarNow();

// Broken-down local time. 0, or -1 when there is none (the year does not fit).
[[nodiscard]] int orvLocalTime(std::time_t seconds, std::tm& local);
// strftime; empty when the text does not fit in the given number of bytes, its NUL included (at most 128).
std::string orvTimeFormat(std::size_t size, const char* format, const std::tm& local);
