#include "Sw_Log_Type.h"
#include "base/OrvText.h"
#include "mesg/LogEventData.h"
#include "mesg/OrvLevel.h"

#include <strings.h>

#include <array>
#include <cstring>

namespace {

// Kinds of log records.
constexpr std::int32_t kFaultKind = 0;
constexpr std::int32_t kErrorKind = 2;
constexpr std::int32_t kWarningKind = 3;
constexpr std::int32_t kLastOldKind = 5;  // later kinds carry a location
constexpr std::int32_t kStateKind = 16;

constexpr std::int32_t kNowhere = -1;

struct Component {
    std::uint32_t classCode;
    const char* name;
};

constexpr std::array<Component, 11> kComponents = {{
    {1, "NameServer"},
    {2, "MgmtServer"},
    {4, "Zoning"},
    {8, "Switch"},
    {32, "Blade"},
    {64, "Port"},
    {128, "Eport"},
    {256, "Snmp"},
    {1024, "CimServer"},
    {2048, "CLI"},
    {4096, "Orv"},
}};

const char* componentName(std::uint32_t classCode) {
    for (const Component& component : kComponents) {
        if (component.classCode == classCode) {
            return component.name;
        }
    }
    return "";
}

bool beginsWith(const std::string& text, const char* beginning) {
    return strncasecmp(text.c_str(), beginning, std::strlen(beginning)) == 0;
}

bool namesFault(const std::string& text) {
    return beginsWith(text, "Blade fault") || beginsWith(text, "System fault") ||
           strcasecmp(text.c_str(), "CALLHOME TEST MESSAGE - FAULT") == 0;
}

std::int32_t levelOf(std::int32_t kind, const std::string& text) {
    switch (kind) {
        case kFaultKind:
            return namesFault(text) ? kOrvLevelFault : kOrvLevelAlarm;
        case kErrorKind:
            return kOrvLevelCritical;
        case kWarningKind:
            return kOrvLevelWarn;
        default:
            return kOrvLevelNone;
    }
}

std::string locationOf(const Sw_Log_Type& record) {
    if (record.locationIndex == kNowhere) {
        return orvFormat("%d.%d", record.location1, record.location2);
    }
    std::string names = record.locationName1;
    if (!record.locationName2.empty()) {
        names += "/" + record.locationName2;
    }
    return orvFormat("%s:%d.%d.%d", names.c_str(), record.location1, record.location2, record.locationIndex);
}

}  // namespace

void LogEventData::extract(const Sw_Log_Type& record, const std::string& text) {
    Level = levelOf(record.kind, text);
    Blade = record.slot == kNowhere ? std::string() : orvFormat("Blade: %d", record.slot);
    const bool nameless = record.kind == kFaultKind || record.kind == kStateKind;
    App = nameless ? "" : componentName(record.componentClass);
    ASIC.clear();
    Port.clear();
    if (record.chip != kNowhere) {
        ASIC = orvFormat("%d.%d", record.chip, record.port);
    } else if (record.port != kNowhere) {
        Port = orvFormat("%d", record.port);
    }
    Components = record.kind > kLastOldKind ? locationOf(record) : std::string();
    VID.clear();
}
