#include "mesg/LogEventData.h"

#include "Sw_Log_Type.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "mesg/OrvMesgElement.h"
#include "mesg/OrvMesgNumbers.h"
#include "mesg/OrvMesgTags.h"

#include <strings.h>

#include <array>
#include <cstring>

static constexpr char kTraceModule[] = "LogEventData";

using namespace orv_mesg_tags;

namespace {

struct Element {
    std::string_view tag;
    std::string LogEventData::*field;
};

// In the order written; the level goes before them.
constexpr std::array<Element, 6> kElements = {{
    {kBlade, &LogEventData::Blade},
    {kAsic, &LogEventData::ASIC},
    {kPort, &LogEventData::Port},
    {kVid, &LogEventData::VID},
    {kApp, &LogEventData::App},
    {kComp, &LogEventData::Components},
}};

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

std::string LogEventData::duplicateKey() const {
    std::string key = orvLevelName(Level);
    key += '|';
    for (const Element& element : kElements) {
        key += this->*element.field;
        key += '|';
    }
    return key;
}

std::int32_t LogEventData::bytesToSave() const {
    constexpr std::int64_t kElementFrame = kEndOfRecord.size() + 3;  // with three line feeds
    std::int64_t bytes = orvLengths({kLevel, orvLevelName(Level)}) + kElementFrame;
    for (const Element& element : kElements) {
        bytes += orvLengths({element.tag, this->*element.field}) + kElementFrame;
    }
    return orvSaturate(bytes);
}

void LogEventData::save(std::string& file) const {
    orvAppendElement(file, kLevel, orvLevelName(Level));
    for (const Element& element : kElements) {
        const std::string& value = this->*element.field;
        if (!value.empty()) {
            orvAppendElement(file, element.tag, value);
        }
    }
}

bool LogEventData::restore(std::string_view tag, std::istream& stream) {
    if (tag == kLevel) {
        std::string name;
        if (restoreThruDashTag(tag, stream, name) < 0) {
            RestoreStatus = -1;
        } else {
            LevelRestored = true;
            Level = orvLevelNumber(name);
        }
        return true;
    }
    for (const Element& element : kElements) {
        if (tag == element.tag) {
            if (restoreThruDashTag(tag, stream, this->*element.field) < 0) {
                RestoreStatus = -1;
            }
            return true;
        }
    }
    return false;
}

void LogEventData::probe() const {
    ORV_TRACE("    Level= %s\n", orvLevelName(Level));
    ORV_TRACE("    Blade = %s\n", Blade.c_str());
    ORV_TRACE("    ASIC = %s\n", ASIC.c_str());
    ORV_TRACE("    Port = %s\n", Port.c_str());
    ORV_TRACE("    VID = %s\n", VID.c_str());
    ORV_TRACE("    App = %s\n", App.c_str());
    ORV_TRACE("    Components = %s\n", Components.c_str());
}
