#include "profile/OrvProfileReader.h"

#include "MessageCodes.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "profile/OrvDsStatus.h"
#include "profile/OrvProfileRequests.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace {

constexpr char kTraceModule[] = "OrvCHProfile";

constexpr char kCaptureEnable[] = "CaptureEnable";
constexpr char kCaptureEntries[] = "CaptureEntries";

bool contains(std::string_view text, std::string_view word) {
    return text.find(word) != std::string_view::npos;
}

}  // namespace

struct OrvProfileReader::InitialAttribute {
    const char* word;  // what its key contains; the first row that fits decides
    int (OrvCHProfile::*set)(const std::string& value);
    int (OrvProfileReader::*readOn)();  // the read that the value makes necessary, or null
    const OrvLogEntry<>* alarm;         // when that read cannot be sent
};

const OrvProfileReader::InitialAttribute OrvProfileReader::kInitialAttributes[] = {
    {"ProfileList", &OrvCHProfile::setName, nullptr, nullptr},
    {"Level", &OrvCHProfile::setLevel, nullptr, nullptr},
    {"Format", &OrvCHProfile::setFormat, nullptr, nullptr},
    {"MaxSize", &OrvCHProfile::setMaxSize, nullptr, nullptr},
    {"EmailSubject", &OrvCHProfile::setEmailSubject, nullptr, nullptr},
    {"NumberOfEmails", &OrvCHProfile::setNumOfEmailEntries, &OrvProfileReader::readEmailConfig, &orv_log::kEmailUnread},
    {kCaptureEnable, &OrvCHProfile::setCaptureEnable, nullptr, nullptr},
    {kCaptureEntries, &OrvCHProfile::setCaptureEntries, &OrvProfileReader::readCaptureTypes, &orv_log::kCapturesUnread},
};

int OrvProfileReader::readInitialConfig() {
    ORV_TRACE("Index=%u\n", profile_.index());
    profile_.nothingRead();
    emailsRequested_ = false;
    captures_.restart();
    const auto keys = orvPersistently([this] {
        std::vector<std::string> composed{orvFormat("Global.CallhomeDB.ProfileList.%u", profile_.index())};
        for (const char* attribute :
             {"Level", "Format", "MaxSize", "EmailSubject", "NumberOfEmails", kCaptureEnable, kCaptureEntries}) {
            composed.push_back(orvFormat("Global.CallhomeDB.Profile.%u.%s", profile_.index(), attribute));
        }
        return composed;
    });
    return orvReadProfileAttributes(store_, DsRequestId::PROFILE_INITIAL, keys, __func__,
                                    orv_log::kInitialConfigUnread);
}

int OrvProfileReader::readEmailConfig() {
    ORV_TRACE("Index=%u, emailCount=%u\n", profile_.index(), profile_.numOfEmailEntries());
    if (profile_.numOfEmailEntries() == 0) {
        profile_.partRead(OrvCHProfile::kEmailPart);
        return 0;
    }
    const auto keys = orvPersistently([this] {
        std::vector<std::string> composed;
        const std::uint32_t count = std::min<std::uint32_t>(profile_.numOfEmailEntries(), dsClient::MAX_BULK_NAMES);
        for (std::uint32_t i = 0; i < count; ++i) {
            composed.push_back(orvFormat("Global.CallhomeDB.Profile.%u.EmailList.%u", profile_.index(), i));
        }
        return composed;
    });
    emailsRequested_ = true;
    return orvReadProfileAttributes(store_, DsRequestId::PROFILE_EMAIL, keys, __func__, orv_log::kEmailConfigUnread);
}

int OrvProfileReader::processInitialConfigBulk(std::span<const DsEntry> entries,
                                               std::span<const std::int32_t> statuses) {
    ORV_TRACE("Entry\n");
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (!orvIsNotNegativeStatus(orvStatusAt(statuses, i))) {
            takeBadInitialEntry(i, entries[i].name);
        } else if (takeInitialEntry(entries[i]) == OrvReading::kStops) {
            return -1;
        }
    }
    // A list whose length was not told has nothing in it: only what has been asked for is waited for.
    return completePart(OrvCHProfile::kInitialPart | (emailsRequested_ ? 0 : OrvCHProfile::kEmailPart) |
                        (captures_.requested() ? 0 : OrvCHProfile::kCapturePart));
}

void OrvProfileReader::takeBadInitialEntry(std::size_t position, const std::string& key) {
    orvLog(orv_log::kInitialConfigStatus, static_cast<int>(position));
    if (contains(key, kCaptureEnable)) {
        [[maybe_unused]] const int result = profile_.setCaptureEnable("False");
    }
    if (contains(key, kCaptureEntries)) {
        [[maybe_unused]] const int result = profile_.setCaptureEntries("0");
        profile_.partRead(OrvCHProfile::kCapturePart);
    }
}

OrvReading OrvProfileReader::takeInitialEntry(const DsEntry& entry) {
    for (const InitialAttribute& attribute : kInitialAttributes) {
        if (!contains(entry.name, attribute.word)) {
            continue;
        }
        // Whether the value is refused or not, the others are still taken.
        orvGuarded(__func__, [&] { return orvPersistently([&] { return (profile_.*attribute.set)(entry.value); }); });
        if (attribute.readOn != nullptr && orvGuarded(__func__, [&] { return (this->*attribute.readOn)(); }) < 0) {
            orvAlarm(*attribute.alarm);
            return OrvReading::kStops;
        }
        return OrvReading::kGoesOn;
    }
    orvLog(orv_log::kProfileValueInvalid, entry.value.c_str());
    return OrvReading::kGoesOn;
}

int OrvProfileReader::processEmailConfigBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses) {
    ORV_TRACE("Entry\n");
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (orvIsNotNegativeStatus(orvStatusAt(statuses, i))) {
            // Beyond the tenth none is taken.
            orvGuarded(__func__, [&] { return orvPersistently([&] { return profile_.addEmail(entries[i].value); }); });
        } else {
            orvLog(orv_log::kEmailConfigStatus, static_cast<int>(i));
        }
    }
    return completePart(OrvCHProfile::kEmailPart);
}

int OrvProfileReader::processCaptureTypesBulk(std::span<const DsEntry> entries,
                                              std::span<const std::int32_t> statuses) {
    return completeCapturesWhenRead(captures_.processCaptureTypesBulk(entries, statuses));
}

int OrvProfileReader::processCaptureAttrsBulk(std::span<const DsEntry> entries,
                                              std::span<const std::int32_t> statuses) {
    return completeCapturesWhenRead(captures_.processCaptureAttrsBulk(entries, statuses));
}

int OrvProfileReader::completeCapturesWhenRead(int result) {
    const int completed = captures_.complete() ? completePart(OrvCHProfile::kCapturePart) : 0;
    return result < 0 ? result : completed;
}

// An answer that comes twice finds its part complete and must not write a second marker, which would make the
// controller leave out a profile.
int OrvProfileReader::completePart(std::uint32_t part) {
    const bool wasReading = profile_.config() != 0;
    profile_.partRead(part);
    return wasReading && profile_.config() == 0 ? orvWriteProfileMarker(store_) : 0;
}
