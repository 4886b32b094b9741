// The quotas of the message queue, as the attribute store gives them.
#include "base/OrvNumber.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "mesgq/OrvCHMesgQ.h"
#include "profile/OrvConfigListener.h"

#include <array>
#include <string_view>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";

const std::array<std::string, 5> kAttributes = {
    "Global.Callhome.ThrottleDupsEnable", "Global.Callhome.ThrottleDupsPeriod", "Global.Callhome.DiscardPeriod",
    "Global.Callhome.FileSystemSpaceAllowed", "Global.Callhome.FilesAllowed"};

constexpr std::string_view kThrottleEnable = "ThrottleDupsEnable";

bool names(const DsEntry& attribute, std::string_view part) {
    return attribute.name.find(part) != std::string::npos;
}

}  // namespace

int OrvCHMesgQ::readConfig() {
    ORV_TRACE("Entry\n");
    for (const std::string& name : kAttributes) {
        orvLog(orv_log::kBuildInfoRequest, name.c_str());
    }
    ORV_TRACE("request %u attributes in a bulk request\n", static_cast<unsigned>(kAttributes.size()));
    // However it fails, this part of the configuration must be settled.
    if (orvGuarded(__func__, [this] { return store_.bulkGetAttrReq(kRequestId, kAttributes); }) != 0) {
        orvLog(orv_log::kQueueConfigUnread);
        ORV_TRACE("Error requesting DS bulk data entries\n");
        config_.configComplete(OrvConfigListener::kQueue);
        return -1;
    }
    static_cast<void>(flushDuplicateQueue());
    return 0;
}

int OrvCHMesgQ::processConfigBulk(std::span<const DsEntry> attributes, std::span<const std::int32_t> statuses) {
    ORV_TRACE("num = %d\n", static_cast<int>(attributes.size()));
    setDefaults();
    bool conversionOk = true;
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        const DsEntry& attribute = attributes[i];
        const std::int32_t status = i < statuses.size() ? statuses[i] : -1;
        if (status < 0) {
            orvLog(orv_log::kQueueConfigStatus, static_cast<int>(i));
        } else {
            ORV_TRACE("name = %s, type = %d, value = %s, status = 0x%08x\n", attribute.name.c_str(),
                      static_cast<int>(attribute.type), attribute.value.c_str(), static_cast<unsigned>(status));
        }
        applyAttribute(attribute, status < 0, conversionOk);
    }
    configDataRead_ = true;
    config_.configComplete(OrvConfigListener::kQueue);
    return 0;
}

void OrvCHMesgQ::setDefaults() {
    throttleDuplicates_ = true;
    throttleDuplicatesPeriod_ = 15;
    discardPeriod_ = 86400;
    spaceAllowed_ = 5120000;
    filesAllowed_ = 100;
}

void OrvCHMesgQ::applyAttribute(const DsEntry& attribute, bool bad, bool& conversionOk) {
    static constexpr char kMethod[] = "processConfigBulk";
    if (names(attribute, kThrottleEnable)) {
        if (bad) {
            orvTrace(kTraceModule, kMethod, "error obtaining ThrottleDupsEnable, using 'true'\n");
        } else {
            throttleDuplicates_ = attribute.value == "True";
        }
        return;
    }
    struct Quota {
        const char* name;
        const char* unit;
        std::uint32_t OrvCHMesgQ::*member;
    };
    static constexpr Quota kQuotas[] = {
        {"ThrottleDupsPeriod", "seconds", &OrvCHMesgQ::throttleDuplicatesPeriod_},
        {"DiscardPeriod", "seconds", &OrvCHMesgQ::discardPeriod_},
        {"FileSystemSpaceAllowed", "bytes", &OrvCHMesgQ::spaceAllowed_},
        {"FilesAllowed", "files", &OrvCHMesgQ::filesAllowed_},
    };
    for (const Quota& quota : kQuotas) {
        if (!names(attribute, quota.name)) {
            continue;
        }
        const OrvUnsignedNumber number = orvToUnsigned(attribute.value);
        // Kept: one value that cannot be converted also keeps the defaults of all numbers that follow it.
        conversionOk = conversionOk && !number.outOfRange;
        if (bad || !conversionOk) {
            orvTrace(kTraceModule, kMethod, "error obtaining %s, using %u %s\n", quota.name, this->*quota.member,
                     quota.unit);
        } else {
            this->*quota.member = number.value;
        }
        return;
    }
    // Kept: the value is shown, not the name.
    orvLog(orv_log::kQueueAttributeUnknown, attribute.value.c_str());
}
