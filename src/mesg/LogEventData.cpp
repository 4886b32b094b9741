#include "mesg/LogEventData.h"

#include "dbg/OrvDbg.h"
#include "mesg/OrvLevel.h"
#include "mesg/OrvMesgElement.h"
#include "mesg/OrvMesgSize.h"
#include "mesg/OrvMesgTags.h"
#include "mesg/OrvMesgText.h"

#include <array>

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

}  // namespace

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
