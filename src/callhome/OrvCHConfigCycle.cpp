// The configuration read cycle: every part is asked for at once, reports its own end, and the last one to end
// validates the set-up.
#include "callhome/OrvCallHome.h"

#include "MessageCodes.h"
#include "base/OrvNumber.h"
#include "base/OrvOnceMore.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "profile/OrvDsStatus.h"

#include <algorithm>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCallHome";

constexpr char kFeatureFlagKey[] = "Default.Mfg.AllowCallhome";
constexpr char kServicesKey[] = "Global.Services.CallhomeEnable";
constexpr char kAdminStateKey[] = "Config.Switch.AdminState";
constexpr char kNumOfProfilesKey[] = "Global.CallhomeDB.NumberOfProfiles";

// A bound against a damaged count, which must not eat the memory.
constexpr std::int32_t kMostProfiles = 1024;

}  // namespace

void OrvCallHome::readConfig() {
    ORV_TRACE("Entry\n");
    if (Config_.any()) {
        ++ConfigRequestsPending_;
        return;
    }
    ReadyForMessage_ = false;
    Config_.set();  // before the first request: one that fails at once must not end the cycle
    readFeatureFlag();
    readServicesComponent();
    // A part that cannot be asked for reports its end by itself, and keeps none of the others from being asked for.
    orvBestEffort(__func__, [this] { static_cast<void>(client_.readConfig()); });
    orvBestEffort(__func__, [this] { static_cast<void>(identity_.readConfig()); });
    orvBestEffort(__func__, [this] { queue_.readConfig(); });
    capture_.readConfig();
    readNumOfProfiles();
}

void OrvCallHome::configComplete(unsigned bit) {
    ORV_TRACE("Entry - in = %#x\n", bit);
    const bool wasReading = Config_.any();
    Config_.reset(bit);
    ORV_TRACE("Config: %#lx\n", Config_.to_ulong());
    if (!wasReading || Config_.any()) {
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

void OrvCallHome::validateCallHomeSetup() {
    ORV_TRACE("Entry\n");
    Condition_.set(kSenderConfigured, !orvIsDefaultSender(identity_.current().From));
    const bool duplicateServers = client_.checkServers();
    Condition_.set(kServersUsable, client_.usable());
    if (Condition_[kServersUsable] && Condition_[kServiceEnabled] && !Condition_[kSenderConfigured]) {
        orvLog(orv_log::kNoSender);
    }
    if (duplicateServers) {
        orvLog(orv_log::kSameServers);
    }
}

void OrvCallHome::readFeatureFlag() {
    if (store_.getAttrReq(DsRequestId::FEATURE_FLAG, kFeatureFlagKey, 1) < 0) {
        ORV_TRACE("readFeatureFlag() - DS error\n");
        orvLog(orv_log::kFeatureUnread);
        Condition_.reset(kFeatureAllowed);
        clearIncomingMesgQ();
        configComplete(kFeatureFlag);
    }
}

void OrvCallHome::readServicesComponent() {
    if (store_.getAttrReq(DsRequestId::SERVICES, kServicesKey, 1) < 0) {
        ORV_TRACE("readServicesComponent() - DS error\n");
        orvLog(orv_log::kServicesUnread);
        Condition_.reset(kServiceEnabled);
        configComplete(kServices);
    }
}

void OrvCallHome::readNumOfProfiles() {
    if (store_.getAttrReq(DsRequestId::NUMBER_OF_PROFILES, kNumOfProfilesKey, 1) < 0) {
        orvLog(orv_log::kProfilesUnread);
        Condition_.reset(kProfilesFound);
        keepProfiles();
    }
}

void OrvCallHome::readSwitchOperState() {
    if (store_.getAttrReq(DsRequestId::SWITCH_STATE, kAdminStateKey, 1) < 0) {
        orvLog(orv_log::kOperStateUnread);
    }
}

int OrvCallHome::processConfigBulk(const DsBulkReply& reply) {
    switch (reply.id) {
        case DsRequestId::IDENTITY:
            return identity_.processConfigBulk(reply.entries, reply.statuses);
        case DsRequestId::SEND_CLIENT:
            return client_.processConfigBulk(reply.entries, reply.statuses);
        case DsRequestId::PROFILE_INITIAL:
        case DsRequestId::PROFILE_EMAIL:
        case DsRequestId::PROFILE_CAPTURE_TYPES:
        case DsRequestId::PROFILE_CAPTURE_ATTRS:
            return processProfileBulk(reply);
        case DsRequestId::QUEUE:
            return queue_.processConfigBulk(reply.entries, reply.statuses);
        default:
            ORV_TRACE("unhandled id 0x%8.8x\n", reply.id);
            orvLog(orv_log::kBulkIdUnknown, reply.id);
            return -1;
    }
}

int OrvCallHome::processConfig(const DsAttrReply& reply) {
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

int OrvCallHome::processDsStatus(const DsStatusReply& reply) {
    switch (reply.id) {
        case DsRequestId::PROFILE_MARKER:
            return completeProfileConfig(reply.status);
        case DsRequestId::ACTIVE_SERVER:
            return client_.processDsStatus(reply.id, reply.status);
        default:
            ORV_TRACE("unhandled id 0x%8.8x\n", reply.id);
            orvLog(orv_log::kStatusIdUnknown, reply.id);
            return -1;
    }
}

void OrvCallHome::bulkReplyLost() {
    identity_.abandonRead();
}

int OrvCallHome::processFeatureFlag(const DsAttrReply& reply) {
    ORV_TRACE("Entry\n");
    // Kept: the part counts as read before its value is stored.
    configComplete(kFeatureFlag);
    if (!orvIsGoodStatus(reply.status)) {
        orvLog(orv_log::kFeatureStatus, static_cast<unsigned>(reply.status));
        ORV_TRACE("DS error 0x%x\n", static_cast<unsigned>(reply.status));
        Condition_.reset(kFeatureAllowed);
        clearIncomingMesgQ();
        return -1;
    }
    takeCondition(kFeatureAllowed, reply.entry.value);
    return 0;
}

int OrvCallHome::processServicesComponent(const DsAttrReply& reply) {
    ORV_TRACE("Entry\n");
    configComplete(kServices);
    if (!orvIsGoodStatus(reply.status)) {
        orvLog(orv_log::kServicesStatus, static_cast<unsigned>(reply.status));
        ORV_TRACE("DS error 0x%x\n", static_cast<unsigned>(reply.status));
        Condition_.reset(kServiceEnabled);
        return -1;
    }
    takeCondition(kServiceEnabled, reply.entry.value);
    return 0;
}

void OrvCallHome::takeCondition(ConditionBit bit, const std::string& value) {
    if (value == "True") {
        Condition_.set(bit);
        return;
    }
    Condition_.reset(bit);
    clearIncomingMesgQ();
}

int OrvCallHome::processSwitchOperState(const DsAttrReply& reply) {
    if (!orvIsGoodStatus(reply.status)) {
        orvLog(orv_log::kOperStateStatus, static_cast<unsigned>(reply.status));
        ORV_TRACE("DS error 0x%x\n", static_cast<unsigned>(reply.status));
        return -1;
    }
    return setSwitchState(reply.entry.value);
}

int OrvCallHome::processNumOfProfiles(const DsAttrReply& reply) {
    if (!orvIsGoodStatus(reply.status)) {
        // Kept: the part is not reported as ended here, so the cycle stays open.
        ReadyForMessage_ = true;
        Condition_.reset(kProfilesFound);
        orvLog(orv_log::kProfilesStatus, static_cast<unsigned>(reply.status));
        ORV_TRACE("DS error %x\n", static_cast<unsigned>(reply.status));
        return -1;
    }
    NumOfProfiles_ = orvToSigned(reply.entry.value).value;
    if (NumOfProfiles_ > kMostProfiles) {
        ORV_TRACE("%d profiles are too many, reading the first %d\n", NumOfProfiles_, kMostProfiles);
    }
    if (orvGuarded(__func__, [this] { return makeNewProfiles(); }) < 0) {
        keepProfiles();
        return -1;
    }
    if (newProfiles_.empty()) {
        endWithoutProfiles();
        return 0;
    }
    Condition_.set(kProfilesFound);
    return readCurrentProfile();
}

// All of them, or none when memory is short.
int OrvCallHome::makeNewProfiles() {
    currentProfile_ = 0;
    forgetNewProfiles();
    std::vector<std::unique_ptr<OrvCHProfile>> profiles;
    orvPersistently([&] { profiles.reserve(static_cast<std::size_t>(std::clamp(NumOfProfiles_, 0, kMostProfiles))); });
    for (std::int32_t index = 0; index < std::min(NumOfProfiles_, kMostProfiles); ++index) {
        profiles.push_back(
            orvPersistently([&] { return std::make_unique<OrvCHProfile>(static_cast<std::uint32_t>(index)); }));
    }
    newProfiles_ = std::move(profiles);
    return 0;
}

int OrvCallHome::readCurrentProfile() {
    profileReader_.emplace(*currentProfile(), store_);
    if (orvGuarded(__func__, [this] { return profileReader_->readInitialConfig(); }) < 0) {
        keepProfiles();
        return -1;
    }
    return 0;
}

// The new profiles cannot be read: the active ones stay.
void OrvCallHome::keepProfiles() {
    forgetNewProfiles();
    ReadyForMessage_ = true;
    configComplete(kProfiles);
}

void OrvCallHome::forgetNewProfiles() {
    profileReader_.reset();
    newProfiles_.clear();
}

void OrvCallHome::endWithoutProfiles() {
    profiles_.clear();
    orvBestEffort(__func__, [this] { capture_.completeRegistration(); });
    ReadyForMessage_ = true;
    Condition_.reset(kProfilesFound);
    configComplete(kProfiles);
}

OrvCHProfile* OrvCallHome::currentProfile() const {
    return currentProfile_ < newProfiles_.size() ? newProfiles_[currentProfile_].get() : nullptr;
}

int OrvCallHome::processProfileBulk(const DsBulkReply& reply) {
    if (!profileReader_) {
        orvLog(orv_log::kNoProfileRead, reply.id);
        return -1;
    }
    switch (reply.id) {
        case DsRequestId::PROFILE_INITIAL:
            return profileReader_->processInitialConfigBulk(reply.entries, reply.statuses);
        case DsRequestId::PROFILE_EMAIL:
            return profileReader_->processEmailConfigBulk(reply.entries, reply.statuses);
        case DsRequestId::PROFILE_CAPTURE_TYPES:
            return profileReader_->processCaptureTypesBulk(reply.entries, reply.statuses);
        default:
            return profileReader_->processCaptureAttrsBulk(reply.entries, reply.statuses);
    }
}

int OrvCallHome::completeProfileConfig(std::int32_t status) {
    if (status != 0) {
        orvLog(orv_log::kMarkerStatus, static_cast<unsigned>(status));
        ORV_TRACE("DS error 0x%x\n", static_cast<unsigned>(status));
        return -1;
    }
    const OrvCHProfile* profile = currentProfile();
    if (profile == nullptr) {
        orvLog(orv_log::kNoProfileRead, DsRequestId::PROFILE_MARKER);
        return -1;
    }
    if (profile->captureEnabled() && profile->capture() != nullptr) {
        orvBestEffort(__func__, [&] { capture_.registerItem(*profile->capture()); });
    }
    ++currentProfile_;
    if (currentProfile() == nullptr) {
        activateNewProfiles();
        return 0;
    }
    return readCurrentProfile();
}

void OrvCallHome::activateNewProfiles() {
    profiles_ = std::exchange(newProfiles_, {});
    profileReader_.reset();
    orvBestEffort(__func__, [this] { capture_.completeRegistration(); });
    ReadyForMessage_ = true;
    configComplete(kProfiles);
}
