#include "mesgq/OrvCHMesgQConfig.h"

#include "MessageCodes.h"
#include "base/OrvNumber.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "profile/OrvConfigListener.h"

#include <array>
#include <string>
#include <string_view>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";

const std::array<std::string, 5> kAttributes = {
    "Global.Callhome.ThrottleDupsEnable", "Global.Callhome.ThrottleDupsPeriod", "Global.Callhome.DiscardPeriod",
    "Global.Callhome.FileSystemSpaceAllowed", "Global.Callhome.FilesAllowed"};

// Of an attribute that the store does not give.
constexpr OrvCHQuotas kDefaults = {.throttleDuplicates = true,
                                   .throttleDuplicatesPeriod = 15,
                                   .spaceAllowed = 5120000,
                                   .filesAllowed = 100,
                                   .discardPeriod = 86400};

constexpr std::string_view kThrottleEnable = "ThrottleDupsEnable";

struct Quota {
    const char* name;
    const char* unit;
    std::uint32_t OrvCHQuotas::*member;
};
constexpr Quota kQuotas[] = {
    {"ThrottleDupsPeriod", "seconds", &OrvCHQuotas::throttleDuplicatesPeriod},
    {"DiscardPeriod", "seconds", &OrvCHQuotas::discardPeriod},
    {"FileSystemSpaceAllowed", "bytes", &OrvCHQuotas::spaceAllowed},
    {"FilesAllowed", "files", &OrvCHQuotas::filesAllowed},
};

bool names(const DsEntry& attribute, std::string_view part) {
    return attribute.name.find(part) != std::string::npos;
}

}  // namespace

int OrvCHMesgQConfig::readConfig() {
    ORV_TRACE("Entry\n");
    for (const std::string& name : kAttributes) {
        orvLog(orv_log::kBuildInfoRequest, name.c_str());
    }
    ORV_TRACE("request %u attributes in a bulk request\n", static_cast<unsigned>(kAttributes.size()));
    // However it fails, this part of the configuration must be settled.
    if (orvGuarded(__func__, [this] { return store_.bulkGetAttrReq(DsRequestId::QUEUE, kAttributes); }) != 0) {
        orvLog(orv_log::kQueueConfigUnread);
        ORV_TRACE("Error requesting DS bulk data entries\n");
        listener_.configComplete(OrvConfigListener::kQueue);
        return -1;
    }
    return 0;
}

int OrvCHMesgQConfig::processConfigBulk(std::span<const DsEntry> attributes, std::span<const std::int32_t> statuses) {
    ORV_TRACE("num = %d\n", static_cast<int>(attributes.size()));
    quotas_ = kDefaults;
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
    listener_.configComplete(OrvConfigListener::kQueue);
    return 0;
}

void OrvCHMesgQConfig::applyAttribute(const DsEntry& attribute, bool bad, bool& conversionOk) {
    static constexpr char kMethod[] = "processConfigBulk";
    if (names(attribute, kThrottleEnable)) {
        if (bad) {
            orvTrace(kTraceModule, kMethod, "error obtaining ThrottleDupsEnable, using 'true'\n");
        } else {
            quotas_.throttleDuplicates = attribute.value == "True";
        }
        return;
    }
    for (const Quota& quota : kQuotas) {
        if (!names(attribute, quota.name)) {
            continue;
        }
        const OrvUnsignedNumber number = orvToUnsigned(attribute.value);
        // Kept: one value that cannot be converted also keeps the defaults of all numbers that follow it.
        conversionOk = conversionOk && !number.outOfRange;
        if (bad || !conversionOk) {
            orvTrace(kTraceModule, kMethod, "error obtaining %s, using %u %s\n", quota.name, quotas_.*quota.member,
                     quota.unit);
        } else {
            quotas_.*quota.member = number.value;
        }
        return;
    }
    // Kept: the value is shown, not the name.
    orvLog(orv_log::kQueueAttributeUnknown, attribute.value.c_str());
}
