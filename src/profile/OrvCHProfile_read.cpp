// How a profile reads itself: the initial attributes, the e-mail list and the closing marker.
#include "MessageCodes.h"
#include "base/OrvOnceMore.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "profile/OrvCHProfile.h"
#include "profile/OrvDsStatus.h"

#include <algorithm>
#include <array>

namespace {

constexpr char kTraceModule[] = "OrvCHProfile";

constexpr char kCaptureEnable[] = "CaptureEnable";
constexpr char kCaptureEntries[] = "CaptureEntries";
constexpr char kMarkerKey[] = "Oper.Callhome.MarkerData";
constexpr char kMarker[] = "OK";

bool contains(std::string_view text, std::string_view word) {
    return text.find(word) != std::string_view::npos;
}

struct InitialAttribute {
    const char* word;  // what its key contains; the first row that fits decides
    int (OrvCHProfile::*set)(const std::string& value);
    int (OrvCHProfile::*readOn)();  // the read that the value makes necessary, or null
    const OrvLogEntry<>* alarm;     // when that read cannot be sent
};

constexpr std::array kInitialAttributes{
    InitialAttribute{"ProfileList", &OrvCHProfile::setName, nullptr, nullptr},
    InitialAttribute{"Level", &OrvCHProfile::setLevel, nullptr, nullptr},
    InitialAttribute{"Format", &OrvCHProfile::setFormat, nullptr, nullptr},
    InitialAttribute{"MaxSize", &OrvCHProfile::setMaxSize, nullptr, nullptr},
    InitialAttribute{"EmailSubject", &OrvCHProfile::setEmailSubject, nullptr, nullptr},
    InitialAttribute{"NumberOfEmails", &OrvCHProfile::setNumOfEmailEntries, &OrvCHProfile::readEmailConfig,
                     &orv_log::kEmailUnread},
    InitialAttribute{kCaptureEnable, &OrvCHProfile::setCaptureEnable, nullptr, nullptr},
    InitialAttribute{kCaptureEntries, &OrvCHProfile::setCaptureEntries, &OrvCHProfile::readCaptureTypes,
                     &orv_log::kCapturesUnread},
};

}  // namespace

int OrvCHProfile::readInitialConfig() {
    ORV_TRACE("Index=%u\n", index_);
    config_ = kInitialPart | kEmailPart | kCapturePart;
    requested_ = 0;
    captureTypesTaken_ = false;
    captureAttrsOutstanding_ = 0;
    const auto keys = orvPersistently([this] {
        std::vector<std::string> composed{orvFormat("Global.CallhomeDB.ProfileList.%u", index_)};
        for (const char* attribute :
             {"Level", "Format", "MaxSize", "EmailSubject", "NumberOfEmails", kCaptureEnable, kCaptureEntries}) {
            composed.push_back(orvFormat("Global.CallhomeDB.Profile.%u.%s", index_, attribute));
        }
        return composed;
    });
    return bulkRead(DsRequestId::PROFILE_INITIAL, keys, __func__, orv_log::kInitialConfigUnread);
}

int OrvCHProfile::readEmailConfig() {
    ORV_TRACE("Index=%u, emailCount=%u\n", index_, numOfEmailEntries_);
    if (numOfEmailEntries_ == 0) {
        config_ &= ~kEmailPart;
        return 0;
    }
    const auto keys = orvPersistently([this] {
        std::vector<std::string> composed;
        const std::uint32_t count = std::min<std::uint32_t>(numOfEmailEntries_, dsClient::MAX_BULK_NAMES);
        for (std::uint32_t i = 0; i < count; ++i) {
            composed.push_back(orvFormat("Global.CallhomeDB.Profile.%u.EmailList.%u", index_, i));
        }
        return composed;
    });
    requested_ |= kEmailPart;
    return bulkRead(DsRequestId::PROFILE_EMAIL, keys, __func__, orv_log::kEmailConfigUnread);
}

int OrvCHProfile::bulkRead(std::uint32_t requestId, const std::vector<std::string>& keys, const char* caller,
                           const OrvLogEntry<>& failure) {
    orvLog(orv_log::kBulkRead, static_cast<unsigned>(keys.size()));
    if (store_.bulkGetAttrReq(requestId, keys) == 0) {
        return 0;
    }
    orvLog(orv_log::kBulkUnsent);
    orvTrace(kTraceModule, caller, "flushBulkGetSameComp() error\n");
    orvLog(failure);
    return -1;
}

int OrvCHProfile::processInitialConfigBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses) {
    ORV_TRACE("Entry\n");
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (!orvIsNotNegativeStatus(orvStatusAt(statuses, i))) {
            takeBadInitialEntry(i, entries[i].name);
        } else if (takeInitialEntry(entries[i]) == Reading::kStops) {
            return -1;
        }
    }
    // A list whose length was not told has nothing in it: only what has been asked for is waited for.
    return completePart(kInitialPart | (~requested_ & (kEmailPart | kCapturePart)));
}

void OrvCHProfile::takeBadInitialEntry(std::size_t position, const std::string& key) {
    orvLog(orv_log::kInitialConfigStatus, static_cast<int>(position));
    if (contains(key, kCaptureEnable)) {
        [[maybe_unused]] const int result = setCaptureEnable("False");
    }
    if (contains(key, kCaptureEntries)) {
        captureEntries_ = 0;
        config_ &= ~kCapturePart;
    }
}

OrvCHProfile::Reading OrvCHProfile::takeInitialEntry(const DsEntry& entry) {
    for (const InitialAttribute& attribute : kInitialAttributes) {
        if (!contains(entry.name, attribute.word)) {
            continue;
        }
        // Whether the value is refused or not, the others are still taken.
        orvGuarded(__func__, [&] { return orvPersistently([&] { return (this->*attribute.set)(entry.value); }); });
        if (attribute.readOn != nullptr && orvGuarded(__func__, [&] { return (this->*attribute.readOn)(); }) < 0) {
            orvAlarm(*attribute.alarm);
            return Reading::kStops;
        }
        return Reading::kGoesOn;
    }
    orvLog(orv_log::kProfileValueInvalid, entry.value.c_str());
    return Reading::kGoesOn;
}

int OrvCHProfile::processEmailConfigBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses) {
    ORV_TRACE("Entry\n");
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (orvIsNotNegativeStatus(orvStatusAt(statuses, i))) {
            // Beyond the tenth none is taken.
            orvGuarded(__func__, [&] { return orvPersistently([&] { return addEmail(entries[i].value); }); });
        } else {
            orvLog(orv_log::kEmailConfigStatus, static_cast<int>(i));
        }
    }
    return completePart(kEmailPart);
}

// An answer that comes twice finds its part complete and must not write a second marker, which would make the
// controller leave out a profile.
int OrvCHProfile::completePart(std::uint32_t part) {
    const bool wasReading = config_ != 0;
    config_ &= ~part;
    return wasReading && config_ == 0 ? writeMarkerData() : 0;
}

int OrvCHProfile::writeMarkerData() {
    if (store_.setAttrReq(DsRequestId::PROFILE_MARKER, kMarkerKey, dsClient::TYPE_STRING, kMarker, 1) == 0) {
        return 0;
    }
    orvLog(orv_log::kMarkerUnsent);
    return -1;
}
