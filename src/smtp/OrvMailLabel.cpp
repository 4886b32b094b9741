#include "smtp/OrvMailLabel.h"

#include <array>

namespace {

constexpr std::array<std::string_view, 31> kTexts{
    "",
    "From: ",
    "Date: ",
    "Bcc: ",
    "Reply-To: ",
    "Subject: ",
    "------------    ",
    "SwitchName:     ",
    "SwitchIP:       ",
    "SwitchWWN:      ",
    "Level:          ",
    "Text:           ",
    "Time:           ",
    "ID:             ",
    "Blade:          ",
    "ASIC:           ",
    "Port:           ",
    "vFabric:        ",
    "Application:    ",
    "Component:      ",
    "DuplicateCount: ",
    "SN:             ",
    "MIME-Version: ",
    "Content-Type: ",
    "Capture:        ",
    "DayOfWeek:      ",
    "TimeOfDay:      ",
    "Interval:       ",
    "Shell:          ",
    "Command:        ",
    "Attachments:    ",
};

}  // namespace

std::string_view orvMailLabelText(OrvMailLabel label) {
    const auto number = static_cast<std::size_t>(label);
    return number < kTexts.size() ? kTexts[number] : std::string_view();
}
