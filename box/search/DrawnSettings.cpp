#include "box/search/DrawnSettings.h"

namespace box {

const std::vector<Setting>& settings() {
    static const auto& all = *new std::vector<Setting>{
        {"Global.Callhome.ThrottleDupsEnable", {"True", "False"}},
        {"Global.Callhome.ThrottleDupsPeriod", {"15", "60", "300", "3600"}},
        {"Global.Callhome.DiscardPeriod", {"86400", "7200", "600"}},
        {"Global.Callhome.FilesAllowed", {"100", "20", "3"}},
        {"Global.Callhome.FileSystemSpaceAllowed", {"5120000", "100000", "3000"}},
        {"Global.Callhome.SMTPEnable", {"True", "True", "False"}},
        {"Global.Callhome.SMTPEnable1", {"True", "True", "False"}},
        {"Global.CallhomeDB.Profile.1.Level", {"Alarm", "Critical", "Info", "Fault"}},
        {"Global.CallhomeDB.Profile.1.NumberOfEmails", {"1", "2"}},
        {"Global.CallhomeDB.NumberOfProfiles", {"2", "2", "1"}},
        {"Global.Snmp.Location", {"Lab 1", "Lab 2"}},
    };
    return all;
}

const std::vector<Setting>& captureSettings() {
    static const auto& all = *new std::vector<Setting>{
        {"Global.CallhomeDB.Profile.1.CaptureEnable", {"True", "True", "False"}},
        {"Global.CallhomeDB.Profile.1.Capture.0.DayOfWeek", {"Tue", "Wed", "Thu"}},
        {"Global.CallhomeDB.Profile.1.Capture.0.TimeOfDay", {"22:15", "22:17", "02:30", "12:00", "20:45"}},
        {"Global.CallhomeDB.Profile.1.MaxSize", {"2000000", "300"}},
    };
    return all;
}

const std::vector<Setting>& oddSettings() {
    static const auto& all = *new std::vector<Setting>{
        {"Global.Callhome.SMTPPort", {"+25", "25"}},
        {"Global.Callhome.SMTPPort1", {"+2525", "2525"}},
        {"Global.Callhome.ThrottleDupsPeriod", {"+60", "-1", "60"}},
        {"Global.Callhome.DiscardPeriod", {"+7200", "7200"}},
        {"Global.CallhomeDB.Profile.1.NumberOfEmails", {"+2", "2"}},
    };
    return all;
}

}  // namespace box
