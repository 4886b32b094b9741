#include "callhome/OrvCHConfigCycle.h"

#include "MessageCodes.h"
#include "base/OrvNumber.h"
#include "callhome/OrvCHIncoming.h"
#include "capture/OrvCHCapture.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "mesgq/OrvCHMesgQ.h"
#include "profile/OrvCHMesgCommon.h"
#include "profile/OrvConfigListener.h"
#include "profile/OrvDsStatus.h"
#include "smtp/OrvCHClient.h"

#include <algorithm>

namespace {

constexpr char kTraceModule[] = "OrvCallHome";

constexpr char kFeatureFlagKey[] = "Default.Mfg.AllowCallhome";
constexpr char kServicesKey[] = "Global.Services.CallhomeEnable";
constexpr char kAdminStateKey[] = "Config.Switch.AdminState";
constexpr char kNumOfProfilesKey[] = "Global.CallhomeDB.NumberOfProfiles";

// A bound against a damaged count, which must not eat the memory.
constexpr std::int32_t kMostProfiles = 1024;

}  // namespace

void OrvCHConfigCycle::readConfig() {
    ORV_TRACE("Entry\n");
    if (setUp_.config.any()) {
        ++ConfigRequestsPending_;
        return;
    }
    setUp_.readyForMessage = false;
    setUp_.config.set();  // before the first request: one that fails at once must not end the cycle
    readFeatureFlag();
    readServicesComponent();
    // A part that cannot be asked for reports its end by itself, and keeps none of the others from being asked for.
    orvBestEffort(__func__, [this] { static_cast<void>(parts_.client.readConfig()); });
    orvBestEffort(__func__, [this] { static_cast<void>(parts_.identity.readConfig()); });
    orvBestEffort(__func__, [this] { parts_.queue.readConfig(); });
    parts_.capture.readConfig();
    readNumOfProfiles();
}

void OrvCHConfigCycle::configComplete(unsigned bit) {
    ORV_TRACE("Entry - in = %#x\n", bit);
    const bool wasReading = setUp_.config.any();
    setUp_.config.reset(bit);
    ORV_TRACE("Config: %#lx\n", setUp_.config.to_ulong());
    if (!wasReading || setUp_.config.any()) {
        return;
    }
    if (ConfigRequestsPending_ < 1) {
        // The answer that ended the cycle is still to be taken.
        orvBestEffort(__func__, [this] { validateCallHomeSetup(); });
        return;
    }
    // One more cycle serves every request that came in meanwhile.
    ConfigRequestsPending_ = 0;
    readConfig();
}

void OrvCHConfigCycle::validateCallHomeSetup() {
    ORV_TRACE("Entry\n");
    setUp_.condition.set(OrvCHSetUp::kSenderConfigured, !orvIsDefaultSender(parts_.identity.current().From));
    const bool duplicateServers = parts_.client.checkServers();
    setUp_.condition.set(OrvCHSetUp::kServersUsable, parts_.client.usable());
    if (setUp_.condition[OrvCHSetUp::kServersUsable] && setUp_.condition[OrvCHSetUp::kServiceEnabled] &&
        !setUp_.condition[OrvCHSetUp::kSenderConfigured]) {
        orvLog(orv_log::kNoSender);
    }
    if (duplicateServers) {
        orvLog(orv_log::kSameServers);
    }
}

void OrvCHConfigCycle::readFeatureFlag() {
    if (store_.getAttrReq(DsRequestId::FEATURE_FLAG, kFeatureFlagKey, 1) < 0) {
        ORV_TRACE("readFeatureFlag() - DS error\n");
        orvLog(orv_log::kFeatureUnread);
        setUp_.condition.reset(OrvCHSetUp::kFeatureAllowed);
        parts_.incoming.clearIncomingMesgQ();
        configComplete(OrvConfigListener::kFeatureFlag);
    }
}

void OrvCHConfigCycle::readServicesComponent() {
    if (store_.getAttrReq(DsRequestId::SERVICES, kServicesKey, 1) < 0) {
        ORV_TRACE("readServicesComponent() - DS error\n");
        orvLog(orv_log::kServicesUnread);
        setUp_.condition.reset(OrvCHSetUp::kServiceEnabled);
        configComplete(OrvConfigListener::kServices);
    }
}

void OrvCHConfigCycle::readNumOfProfiles() {
    if (store_.getAttrReq(DsRequestId::NUMBER_OF_PROFILES, kNumOfProfilesKey, 1) < 0) {
        orvLog(orv_log::kProfilesUnread);
        setUp_.condition.reset(OrvCHSetUp::kProfilesFound);
        keepProfiles();
    }
}

void OrvCHConfigCycle::readSwitchOperState() {
    if (store_.getAttrReq(DsRequestId::SWITCH_STATE, kAdminStateKey, 1) < 0) {
        orvLog(orv_log::kOperStateUnread);
    }
}

int OrvCHConfigCycle::processConfigBulk(const DsBulkReply& reply) {
    switch (reply.id) {
        case DsRequestId::IDENTITY:
            return parts_.identity.processConfigBulk(reply.entries, reply.statuses);
        case DsRequestId::SEND_CLIENT:
            return parts_.client.processConfigBulk(reply.entries, reply.statuses);
        case DsRequestId::PROFILE_INITIAL:
        case DsRequestId::PROFILE_EMAIL:
        case DsRequestId::PROFILE_CAPTURE_TYPES:
        case DsRequestId::PROFILE_CAPTURE_ATTRS:
            return newProfiles_.process(reply);
        case DsRequestId::QUEUE:
            return parts_.queue.processConfigBulk(reply.entries, reply.statuses);
        default:
            ORV_TRACE("unhandled id 0x%8.8x\n", reply.id);
            orvLog(orv_log::kBulkIdUnknown, reply.id);
            return -1;
    }
}

int OrvCHConfigCycle::processConfig(const DsAttrReply& reply) {
    switch (reply.id) {
        case DsRequestId::FEATURE_FLAG:
            return processFeatureFlag(reply);
        case DsRequestId::SERVICES:
            return processServicesComponent(reply);
        case DsRequestId::SWITCH_STATE:
            return processSwitchOperState(reply);
        case DsRequestId::NUMBER_OF_PROFILES:
            return processNumOfProfiles(reply);
        default:
            ORV_TRACE("unhandled id 0x%8.8x\n", reply.id);
            orvLog(orv_log::kConfigIdUnknown, reply.id);
            return -1;
    }
}

int OrvCHConfigCycle::processDsStatus(const DsStatusReply& reply) {
    switch (reply.id) {
        case DsRequestId::PROFILE_MARKER:
            return completeProfileConfig(reply.status);
        case DsRequestId::ACTIVE_SERVER:
            return parts_.client.processDsStatus(reply.id, reply.status);
        default:
            ORV_TRACE("unhandled id 0x%8.8x\n", reply.id);
            orvLog(orv_log::kStatusIdUnknown, reply.id);
            return -1;
    }
}

int OrvCHConfigCycle::processFeatureFlag(const DsAttrReply& reply) {
    ORV_TRACE("Entry\n");
    // Kept: the part counts as read before its value is stored.
    configComplete(OrvConfigListener::kFeatureFlag);
    if (!orvIsGoodStatus(reply.status)) {
        orvLog(orv_log::kFeatureStatus, static_cast<unsigned>(reply.status));
        ORV_TRACE("DS error 0x%x\n", static_cast<unsigned>(reply.status));
        setUp_.condition.reset(OrvCHSetUp::kFeatureAllowed);
        parts_.incoming.clearIncomingMesgQ();
        return -1;
    }
    takeCondition(OrvCHSetUp::kFeatureAllowed, reply.entry.value);
    return 0;
}

int OrvCHConfigCycle::processServicesComponent(const DsAttrReply& reply) {
    ORV_TRACE("Entry\n");
    configComplete(OrvConfigListener::kServices);
    if (!orvIsGoodStatus(reply.status)) {
        orvLog(orv_log::kServicesStatus, static_cast<unsigned>(reply.status));
        ORV_TRACE("DS error 0x%x\n", static_cast<unsigned>(reply.status));
        setUp_.condition.reset(OrvCHSetUp::kServiceEnabled);
        return -1;
    }
    takeCondition(OrvCHSetUp::kServiceEnabled, reply.entry.value);
    return 0;
}

void OrvCHConfigCycle::takeCondition(OrvCHSetUp::ConditionBit bit, const std::string& value) {
    if (value == "True") {
        setUp_.condition.set(bit);
        return;
    }
    setUp_.condition.reset(bit);
    parts_.incoming.clearIncomingMesgQ();
}

int OrvCHConfigCycle::processSwitchOperState(const DsAttrReply& reply) {
    if (!orvIsGoodStatus(reply.status)) {
        orvLog(orv_log::kOperStateStatus, static_cast<unsigned>(reply.status));
        ORV_TRACE("DS error 0x%x\n", static_cast<unsigned>(reply.status));
        return -1;
    }
    return parts_.incoming.setSwitchState(reply.entry.value);
}

int OrvCHConfigCycle::processNumOfProfiles(const DsAttrReply& reply) {
    if (!orvIsGoodStatus(reply.status)) {
        // Kept: the part is not reported as ended here, so the cycle stays open.
        setUp_.readyForMessage = true;
        setUp_.condition.reset(OrvCHSetUp::kProfilesFound);
        orvLog(orv_log::kProfilesStatus, static_cast<unsigned>(reply.status));
        ORV_TRACE("DS error %x\n", static_cast<unsigned>(reply.status));
        return -1;
    }
    NumOfProfiles_ = orvToSigned(reply.entry.value).value;
    if (NumOfProfiles_ > kMostProfiles) {
        ORV_TRACE("%d profiles are too many, reading the first %d\n", NumOfProfiles_, kMostProfiles);
    }
    if (orvGuarded(__func__, [this] { return newProfiles_.make(std::clamp(NumOfProfiles_, 0, kMostProfiles)); }) < 0) {
        keepProfiles();
        return -1;
    }
    if (newProfiles_.empty()) {
        endWithoutProfiles();
        return 0;
    }
    setUp_.condition.set(OrvCHSetUp::kProfilesFound);
    return readCurrentProfile();
}

int OrvCHConfigCycle::readCurrentProfile() {
    if (orvGuarded(__func__, [this] { return newProfiles_.readCurrent(); }) < 0) {
        keepProfiles();
        return -1;
    }
    return 0;
}

// The new profiles cannot be read: the active ones stay.
void OrvCHConfigCycle::keepProfiles() {
    newProfiles_.forget();
    setUp_.readyForMessage = true;
    configComplete(OrvConfigListener::kProfiles);
}

void OrvCHConfigCycle::endWithoutProfiles() {
    setUp_.profiles.clear();
    orvBestEffort(__func__, [this] { parts_.capture.completeRegistration(); });
    setUp_.readyForMessage = true;
    setUp_.condition.reset(OrvCHSetUp::kProfilesFound);
    configComplete(OrvConfigListener::kProfiles);
}

int OrvCHConfigCycle::completeProfileConfig(std::int32_t status) {
    if (status != 0) {
        orvLog(orv_log::kMarkerStatus, static_cast<unsigned>(status));
        ORV_TRACE("DS error 0x%x\n", static_cast<unsigned>(status));
        return -1;
    }
    const OrvCHProfile* profile = newProfiles_.current();
    if (profile == nullptr) {
        orvLog(orv_log::kNoProfileRead, DsRequestId::PROFILE_MARKER);
        return -1;
    }
    if (profile->captureEnabled() && profile->capture() != nullptr) {
        orvBestEffort(__func__, [&] { parts_.capture.registerItem(*profile->capture()); });
    }
    newProfiles_.goOn();
    if (newProfiles_.current() == nullptr) {
        activateNewProfiles();
        return 0;
    }
    return readCurrentProfile();
}

void OrvCHConfigCycle::activateNewProfiles() {
    setUp_.profiles = newProfiles_.take();
    orvBestEffort(__func__, [this] { parts_.capture.completeRegistration(); });
    setUp_.readyForMessage = true;
    configComplete(OrvConfigListener::kProfiles);
}
