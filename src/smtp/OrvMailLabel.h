// The labels that open the lines of a mail: header names, and the labels of the body, blanks included, so that the
// values line up. Constants.
#pragma once

#include <string_view>

struct OrvMailLabel {
    std::string_view text;
};

namespace orv_label {

inline constexpr OrvMailLabel kNone{""};
inline constexpr OrvMailLabel kFrom{"From: "};
inline constexpr OrvMailLabel kDate{"Date: "};
inline constexpr OrvMailLabel kBcc{"Bcc: "};
inline constexpr OrvMailLabel kReplyTo{"Reply-To: "};
inline constexpr OrvMailLabel kSubject{"Subject: "};
inline constexpr OrvMailLabel kRule{"------------    "};
inline constexpr OrvMailLabel kSwitchName{"SwitchName:     "};
inline constexpr OrvMailLabel kSwitchIp{"SwitchIP:       "};
inline constexpr OrvMailLabel kSwitchWwn{"SwitchWWN:      "};
inline constexpr OrvMailLabel kLevel{"Level:          "};
inline constexpr OrvMailLabel kText{"Text:           "};
inline constexpr OrvMailLabel kTime{"Time:           "};
inline constexpr OrvMailLabel kId{"ID:             "};
inline constexpr OrvMailLabel kBlade{"Blade:          "};
inline constexpr OrvMailLabel kAsic{"ASIC:           "};
inline constexpr OrvMailLabel kPort{"Port:           "};
inline constexpr OrvMailLabel kVFabric{"vFabric:        "};
inline constexpr OrvMailLabel kApplication{"Application:    "};
inline constexpr OrvMailLabel kComponent{"Component:      "};
inline constexpr OrvMailLabel kDuplicateCount{"DuplicateCount: "};
inline constexpr OrvMailLabel kSerialNumber{"SN:             "};
inline constexpr OrvMailLabel kMimeVersion{"MIME-Version: "};
inline constexpr OrvMailLabel kContentType{"Content-Type: "};
inline constexpr OrvMailLabel kCapture{"Capture:        "};
inline constexpr OrvMailLabel kDayOfWeek{"DayOfWeek:      "};
inline constexpr OrvMailLabel kTimeOfDay{"TimeOfDay:      "};
inline constexpr OrvMailLabel kInterval{"Interval:       "};
inline constexpr OrvMailLabel kShell{"Shell:          "};
inline constexpr OrvMailLabel kCommand{"Command:        "};
inline constexpr OrvMailLabel kAttachments{"Attachments:    "};

}  // namespace orv_label
