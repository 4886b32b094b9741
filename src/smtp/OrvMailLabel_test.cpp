#include "smtp/OrvMailLabel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

TEST(OrvMailLabel, hasTheTextOfEachNumber) {
    const std::vector<std::pair<unsigned, std::string>> rows{
        {0, ""},
        {1, "From: "},
        {2, "Date: "},
        {3, "Bcc: "},
        {4, "Reply-To: "},
        {5, "Subject: "},
        {6, "------------    "},
        {7, "SwitchName:     "},
        {8, "SwitchIP:       "},
        {9, "SwitchWWN:      "},
        {10, "Level:          "},
        {11, "Text:           "},
        {12, "Time:           "},
        {13, "ID:             "},
        {14, "Blade:          "},
        {15, "ASIC:           "},
        {16, "Port:           "},
        {17, "vFabric:        "},
        {18, "Application:    "},
        {19, "Component:      "},
        {20, "DuplicateCount: "},
        {21, "SN:             "},
        {22, "MIME-Version: "},
        {23, "Content-Type: "},
        {24, "Capture:        "},
        {25, "DayOfWeek:      "},
        {26, "TimeOfDay:      "},
        {27, "Interval:       "},
        {28, "Shell:          "},
        {29, "Command:        "},
        {30, "Attachments:    "},
        {31, ""},
        {32, ""},
        {4294967295u, ""},
    };
    for (const auto& [number, text] : rows) {
        EXPECT_EQ(orvMailLabelText(static_cast<OrvMailLabel>(number)), text) << number;
    }
}

TEST(OrvMailLabel, linesUpTheValuesOfTheBody) {
    const std::vector<unsigned> headers{0, 1, 2, 3, 4, 5, 22, 23};
    for (unsigned number = 0; number <= 30; ++number) {
        const bool header = std::find(headers.begin(), headers.end(), number) != headers.end();
        if (!header) {
            EXPECT_EQ(orvMailLabelText(static_cast<OrvMailLabel>(number)).size(), 16u) << number;
        }
    }
}
