// The labels that open the lines of a mail: header names, and the labels of the body, blanks included, so that the
// values line up. Any thread.
#pragma once

#include <cstdint>
#include <string_view>

enum class OrvMailLabel : std::uint32_t {
    kNone = 0,
    kFrom = 1,
    kDate = 2,
    kBcc = 3,
    kReplyTo = 4,
    kSubject = 5,
    kRule = 6,
    kSwitchName = 7,
    kSwitchIp = 8,
    kSwitchWwn = 9,
    kLevel = 10,
    kText = 11,
    kTime = 12,
    kId = 13,
    kBlade = 14,
    kAsic = 15,
    kPort = 16,
    kVFabric = 17,
    kApplication = 18,
    kComponent = 19,
    kDuplicateCount = 20,
    kSerialNumber = 21,
    kMimeVersion = 22,
    kContentType = 23,
    kCapture = 24,
    kDayOfWeek = 25,
    kTimeOfDay = 26,
    kInterval = 27,
    kShell = 28,
    kCommand = 29,
    kAttachments = 30,
};

// The label's text; empty for kNone and for every number outside the table.
std::string_view orvMailLabelText(OrvMailLabel label);
