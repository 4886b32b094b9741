// Routing: every message of the bus finds its handler by format and code.
#include "app/OrvApp.h"

#include "Hsb_Message.h"
#include "base/OrvTell.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"

namespace {

constexpr char kTraceModule[] = "OrvApp";

// Message formats, and codes within them.
constexpr std::uint16_t kCns = 2;
constexpr std::uint16_t kCnsLookupResponse = 4;
constexpr std::uint16_t kEnsEvent = 3;
constexpr std::uint16_t kEns = 4;
constexpr std::uint16_t kEnsReady = 51;
constexpr std::uint16_t kDs = 103;
constexpr std::uint16_t kDsStatus = 1;
constexpr std::uint16_t kDsAttribute = 2;
constexpr std::uint16_t kDsAttributeBulk = 9;
constexpr std::uint16_t kCmon = 105;
constexpr std::uint16_t kCmonReadConfiguration = 96;
constexpr std::uint16_t kCmonStart = 97;
constexpr std::uint16_t kProbe = 108;
constexpr std::uint16_t kProbeState = 0;
constexpr std::uint16_t kProbeReply = 100;
constexpr std::uint16_t kManagement = 16405;

// Event categories and numbers.
constexpr std::uint32_t kLogEvents = 1;
constexpr std::uint32_t kCmonEvents = 2;
constexpr std::uint32_t kAddressChanged = 56;
constexpr std::uint32_t kSmEvents = 66;
constexpr std::uint32_t kSwitchState = 3;
constexpr std::uint32_t kIgnoredEvents = 89;
constexpr std::uint32_t kDnsEvents = 90;
constexpr std::uint32_t kHostnameChanged = 0;

struct Subscription {
    std::uint32_t category;
    std::uint32_t event;
    const char* subject;
};

// In the order in which they are made.
constexpr Subscription kSubscriptions[] = {
    {kLogEvents, 0, "entries of the switch's log"},
    {kSmEvents, kSwitchState, "changes of the switch's state"},
    {kCmonEvents, kAddressChanged, "changes of the switch's addresses"},
    {kDnsEvents, kHostnameChanged, "changes of the switch's host name"},
};

// Request ids that each route of the attribute store accepts.
bool isBulkId(std::uint32_t id) {
    return id <= 5 || id == 11;
}
// Kept: id 13 passes here and is refused further on.
bool isAttributeId(std::uint32_t id) {
    return (id >= 6 && id <= 9) || id == 13;
}
bool isStatusId(std::uint32_t id) {
    return id == 10 || id == 12;
}

int unhandledDsId(const char* handler, std::uint32_t id) {
    orvLog(kOrvLogInternal, "%s: unhandled DS id (0x%8.8x) received", handler, id);
    return -1;
}

}  // namespace

int OrvApp::handle_message(Hsb_Message* message) {
    return orvGuarded("handle_message", [this, message] { return route(*message); });
}

int OrvApp::route(Hsb_Message& message) {
    switch (message.format()) {
        case kCns:
            return processCnsMsg(message);
        case kEnsEvent:
            return processEventMsg(Ens_Event(message));
        case kEns:
            return processEnsMsg(message);
        case kDs:
            return processDsMsg(message);
        case kCmon:
            return processCmonMsg(message);
        case kProbe:
            return processProbeMsg(message);
        case kManagement:
            return processOrvMsg(message);
        default:
            orvLog(kOrvLogInternal, "%s.%d: Unhandled message format %d, code %d", kTraceModule, __LINE__,
                   message.format(), message.code());
            return -1;
    }
}

int OrvApp::processCnsMsg(const Hsb_Message& message) {
    if (message.code() != kCnsLookupResponse) {
        return 0;
    }
    const Cns_Lookup_Response response(message);
    // A lookup that was never sent has no tag to match.
    if (response.tag() == kNoTag) {
        return 0;
    }
    if (response.tag() == ensLookupTag_) {
        takeEnsServer(response.address());
    } else if (response.tag() == smLookupTag_) {
        takeManagement(response.address());
    }
    return 0;
}

void OrvApp::takeEnsServer(const Hsb_Address& address) {
    ensServer_ = address;
    startTick();
    for (const Subscription& each : kSubscriptions) {
        if (subscribeConsumer(each.category, each.event) < 0) {
            orvTell("%s are not heard of until the daemon is started again", each.subject);
        }
    }
    callHome_.queuePowerUpMesg();
}

void OrvApp::takeManagement(const Hsb_Address& address) {
    smAddress_ = address;
    responses_.setReady(this, smAddress_);
}

int OrvApp::processEnsMsg(const Hsb_Message& message) {
    if (message.code() != kEnsReady) {
        orvLog(kOrvLogInternal, "Unhandled ENS msg %d!!!", message.code());
        return -1;
    }
    ensReady_ = 1;
    tryStartFileSync();
    return 0;
}

int OrvApp::processDsMsg(const Hsb_Message& message) {
    switch (message.code()) {
        case kDsAttribute:
            return processDsAttribute(message);
        case kDsAttributeBulk:
            return processDsAttributeBulk(message);
        case kDsStatus:
            return processDsStatus(message);
        default:
            orvLog(kOrvLogInternal, "%s.%d: Unhandled DS message code %d!!!", kTraceModule, __LINE__, message.code());
            return -1;
    }
}

int OrvApp::processDsAttribute(const Hsb_Message& message) {
    DsAttrReply reply;
    if (const int error = ds_.attrData(message, reply); error != 0) {
        orvLog(kOrvLogInternal, "DS response error rc %d(%s:%d)", error, kTraceModule, __LINE__);
        return -1;
    }
    return isAttributeId(reply.id) ? callHome_.processConfig(reply) : unhandledDsId(__func__, reply.id);
}

int OrvApp::processDsAttributeBulk(const Hsb_Message& message) {
    DsBulkReply reply;
    if (const int error = ds_.bulkAttr(message, reply); error != 0) {
        orvLog(kOrvLogInternal, "DS response error rc %d(%s:%d)", error, kTraceModule, __LINE__);
        callHome_.bulkReplyLost();
        return -1;
    }
    return isBulkId(reply.id) ? callHome_.processConfigBulk(reply) : unhandledDsId(__func__, reply.id);
}

int OrvApp::processDsStatus(const Hsb_Message& message) {
    DsStatusReply reply;
    if (ds_.statusMsg(message, reply) != 0) {
        orvLog(kOrvLogInternal, "%s.%d: received an unhandled  id %u Data Service status (%d) message!!!", kTraceModule,
               __LINE__, reply.id, reply.status);
        return -1;
    }
    return isStatusId(reply.id) ? callHome_.processDsStatus(reply) : unhandledDsId(__func__, reply.id);
}

int OrvApp::processCmonMsg(const Hsb_Message& message) {
    switch (message.code()) {
        case kCmonReadConfiguration:
            return readConfiguration();
        case kCmonStart: {
            threadsStarted_ = 1;
            callHome_.monitorReady();
            const int started = callHome_.startThreads();
            tryStartFileSync();
            return started;
        }
        default:
            orvLog(kOrvLogInternal, "Unhandled Cmon msg %d!!!", message.code());
            return -1;
    }
}

int OrvApp::readConfiguration() {
    callHome_.readConfig();
    callHome_.readSwitchOperState();
    callHome_.monitorReady();
    if (cmon_ == nullptr || cmon_->conf_read_ack(0) < 0) {
        orvAlarm("Error from conf_read_ack()");
        orvTell("the threads are not started: nothing is mailed until the configuration is read again");
        return -1;
    }
    return 0;
}

int OrvApp::processProbeMsg(const Hsb_Message& message) {
    // Whatever happens on the way, a probe is answered.
    orvGuarded("probe", [this, &message] {
        if (message.code() == kProbeState) {
            callHome_.probe();
        } else {
            orvLog(kOrvLogInfo, "Probe command %d not implemented", message.code());
        }
        return 0;
    });
    return message.reply(kProbe, kProbeReply);
}

int OrvApp::processOrvMsg(const Hsb_Message& message) {
    const std::uint16_t code = message.code();
    const char* const name = OrvCallHome::requestName(code);
    ORV_TRACE("code = %s(%d)\n", name == nullptr ? "?" : name, code);
    if (name == nullptr) {
        orvLog(kOrvLogInternal, "unhandled ORV message (0x%8.8x) received", code);
        return -1;
    }
    return callHome_.processOrvMsg(message);
}

int OrvApp::processEventMsg(const Ens_Event& event) {
    switch (event.category()) {
        case kLogEvents:
            return callHome_.takeLogEvent(event.data());
        case kCmonEvents:
            return processCmonEvent(event);
        case kSmEvents:
            return processSMEvent(event);
        case kIgnoredEvents:
            return -1;
        case kDnsEvents:
            return processDnsEvent(event);
        default:
            orvLog(kOrvLogInternal, "processEventMsg() - Unhandled event.category = %u", event.category());
            return -1;
    }
}

int OrvApp::processCmonEvent(const Ens_Event& event) {
    if (event.number() != kAddressChanged) {
        ORV_TRACE("Unhandled Cmon event %u\n", event.number());
        return -1;
    }
    return callHome_.setSwitchAddr(event.data());
}

int OrvApp::processSMEvent(const Ens_Event& event) {
    if (event.number() != kSwitchState) {
        ORV_TRACE("Unhandled SM event %u\n", event.number());
        return -1;
    }
    if (event.data().empty()) {
        return -1;
    }
    return callHome_.setSwitchState(orvTextUpToNul(event.data()));
}

int OrvApp::processDnsEvent(const Ens_Event& event) {
    if (event.number() != kHostnameChanged) {
        ORV_TRACE("Unhandled DNS event %u\n", event.number());
        return -1;
    }
    return callHome_.setSwitchHostname(event.data());
}
