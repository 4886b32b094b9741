#include "Sw_Log_Type.h"
#include "base/OrvAssert.h"
#include "base/OrvTimeText.h"
#include "dbg/OrvDbg.h"
#include "mesg/OrvCHMesg.h"
#include "mesg/OrvLevel.h"
#include "mesg/OrvMesgId.h"

#include <new>

static constexpr char kTraceModule[] = "OrvCHMesg";

static constexpr std::uint32_t kTestNumber = 0x8B000002u;
static constexpr std::uint32_t kPowerUpNumber = 0x8B000003u;
static constexpr std::uint32_t kStateNumber = 0x8B000004u;

int OrvCHMesg::buildSwitchPowerUpData() {
    ORV_TRACE("Entry\n");
    return buildOwnEvent(kPowerUpNumber, kOrvLevelWarn, "The switch has powered up and it is operational");
}

int OrvCHMesg::buildTestData(const std::string& profile) {
    ORV_TRACE("Entry\n");
    if (buildOwnEvent(kTestNumber, kOrvLevelNone, "CALLHOME TEST PROFILE MESSAGE") < 0) {
        return -1;
    }
    TestProfile = profile;
    return 0;
}

int OrvCHMesg::buildSwitchStateData(const std::string& state) {
    ORV_TRACE("Entry\n");
    return buildOwnEvent(kStateNumber, kOrvLevelWarn, "The switch operational state has changed to " + state);
}

int OrvCHMesg::buildOwnEvent(std::uint32_t number, std::int32_t level, const std::string& text) {
    if (provideLogEvent() < 0) {
        return -1;
    }
    Time = orvNowText();
    ID = orvMesgId(number);
    Text = text;
    logEvent_->Level = level;
    logEvent_->App = "Orv";
    return 0;
}

int OrvCHMesg::provideLogEvent() {
    if (logEvent_ == nullptr) {
        cronCapture_.reset();
        Type = kNoType;
        logEvent_.reset(new (std::nothrow) LogEventData);
    }
    if (logEvent_ == nullptr) {
        return -1;
    }
    Type = kLogEvent;
    return 0;
}

int OrvCHMesg::extractData(const Sw_Log_Type& record) {
    if (logEvent_ == nullptr) {
        orvAssertFailed("Mesg.LogEvent", __FILE__, __LINE__);
    }
    Time = orvEventTimeText(static_cast<std::time_t>(record.seconds), record.microseconds);
    ID = orvMesgId(record.number);
    Text = record.text.substr(0, record.text.rfind('\n'));
    logEvent_->extract(record, Text);
    return 0;
}

int OrvCHMesg::createMesgByType() {
    constexpr std::size_t kLength = 9;
    constexpr std::size_t kSeparator = 4;
    ORV_TRACE("Entry\n");
    if (ID.size() != kLength) {
        ORV_TRACE("Message ID length invalid\n");
        return -1;
    }
    if (ID.find('.') != kSeparator) {
        ORV_TRACE("Message ID field separator invalid\n");
        return -1;
    }
    return createData(orvMesgKind(orvMesgNumber(std::string(ID).erase(kSeparator, 1))));
}

// Kept: only log events come out of identifiers as they are read, signed. The other kinds are never met.
int OrvCHMesg::createData(OrvMesgKind kind) {
    if (kind == OrvMesgKind::kNone) {
        return 0;
    }
    logEvent_.reset();
    cronCapture_.reset();
    Type = kNoType;
    if (kind == OrvMesgKind::kCronCapture) {
        orvTrace(kTraceModule, "createMesgByType", "Message Type = CronCapture\n");
        cronCapture_.reset(new (std::nothrow) CronCaptureData);
    } else {
        orvTrace(kTraceModule, "createMesgByType", "Message Type = LogEvent\n");
        logEvent_.reset(new (std::nothrow) LogEventData);
        if (logEvent_ == nullptr) {
            logEvent_.reset(new (std::nothrow) LogEventData);  // for want of a moment's memory no message is lost
        }
    }
    if (logEvent_ == nullptr && cronCapture_ == nullptr) {
        orvTrace(kTraceModule, "createMesgByType", "Memory allocation failure!\n");
        return -1;
    }
    Type = kind == OrvMesgKind::kCronCapture ? kCronCapture : kLogEvent;
    return 0;
}
