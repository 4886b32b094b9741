#include "switchctl/input/CaptureTime.h"

#include "switchctl/text/Errors.h"
#include "switchctl/text/Suggestion.h"
#include "switchctl/text/Text.h"

#include <vector>

namespace {

const std::vector<std::string> DAYS = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

[[noreturn]] void refuse(const std::string& text, const std::string& why) {
    throw UsageError("the capture \"" + Text::oneLine(text) + "\" cannot be used: " + why +
                     "; write DAY,HH:MM,WEEKS: Mon,02:30,1");
}

bool isTwoDigits(const std::string& text, std::int64_t most) {
    return !text.empty() && text.size() <= 2 && text.find_first_not_of("0123456789") == std::string::npos &&
           Text::number(text, 0, most).has_value();
}

bool isTime(const std::string& text) {
    const auto parts = Text::split(text, ':');
    return parts.size() == 2 && isTwoDigits(parts[0], 23) && isTwoDigits(parts[1], 59);
}

}  // namespace

CaptureTime CaptureTime::parse(const std::string& text) {
    const auto parts = Text::split(text, ',');
    if (parts.size() != 3) {
        refuse(text, "it does not have three parts");
    }
    const std::string day = Suggestion::inAnyCase(parts[0], DAYS);
    if (day.empty()) {
        refuse(text, "the day is one of Sun, Mon, Tue, Wed, Thu, Fri, Sat");
    }
    if (!isTime(parts[1])) {
        refuse(text, "no blanks; the time is H:MM or HH:MM, from 0:00 to 23:59");
    }
    if (!isTwoDigits(parts[2], 26) || !Text::number(parts[2], 1, 26)) {
        refuse(text, "the interval is 1 to 26 weeks");
    }
    return {day, parts[1], parts[2]};
}
