// How a profile reads its scheduled capture: the types, then the attributes of each capture on a schedule.
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "profile/OrvCHProfile.h"
#include "profile/OrvDsStatus.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace {

constexpr char kTraceModule[] = "OrvCHProfile";

// What an answer without any entry reports, since the store tells no reason.
constexpr unsigned kNothingAnswered = 0xFFFFFFFFu;

struct CaptureAttribute {
    std::string_view name;
    const char* announcement;
    int (*set)(CronCaptureItem& item, const std::string& value);
};

constexpr std::array kCaptureAttributes{
    CaptureAttribute{"DayOfWeek", "Read capture day of week",
                     [](CronCaptureItem& item, const std::string& value) { return item.setDayOfWeek(value); }},
    CaptureAttribute{"TimeOfDay", "Read capture time of day",
                     [](CronCaptureItem& item, const std::string& value) { return item.setTimeOfDay(value); }},
    CaptureAttribute{"Interval", "Read capture interval",
                     [](CronCaptureItem& item, const std::string& value) { return item.setInterval(value); }},
};

// The second number of "Global.CallhomeDB.Profile.%u.Capture.%u." and what follows it.
std::optional<std::uint32_t> captureNumber(std::string_view key) {
    constexpr std::string_view kBefore = ".Capture.";
    const std::size_t before = key.find(kBefore);
    if (before == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = key.substr(before + kBefore.size());
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    if (error != std::errc() || end == rest.data() + rest.size() || *end != '.') {
        return std::nullopt;
    }
    return number;
}

}  // namespace

int OrvCHProfile::readCaptureTypes() {
    ORV_TRACE("Index=%u\n", index_);
    if (captureEntries_ == 0) {
        config_ &= ~kCapturePart;
        return 0;
    }
    std::vector<std::string> keys;
    const std::uint32_t count = std::min<std::uint32_t>(captureEntries_, dsClient::MAX_BULK_NAMES);
    for (std::uint32_t i = 0; i < count; ++i) {
        keys.push_back(orvFormat("Global.CallhomeDB.Profile.%u.Capture.%u.Type", index_, i));
        orvLog(kOrvLogDetail, "CALLHOME_READ_PROFILE_CAPTURE_TYPES - Read profile recipient - %s\n",
               keys.back().c_str());
    }
    requested_ |= kCapturePart;
    return bulkRead(kCaptureTypesRequestId, keys, __func__, "readCaptureTypes() - flushBulkGetSameComp() error");
}

int OrvCHProfile::processCaptureTypesBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses) {
    ORV_TRACE("Entry\n");
    if (entries.empty()) {
        orvLog(kOrvLogDetail, "Error CALLHOME_READ_PROFILE_CAPTURE_TYPES in DS %x\n", kNothingAnswered);
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const std::int32_t status = orvStatusAt(statuses, i);
        if (!orvIsNotNegativeStatus(status)) {
            orvLog(kOrvLogDetail, "CALLHOME_READ_PROFILE_CAPTURE_TYPES - bad status_array = %x",
                   static_cast<unsigned>(status));
        } else if (takeCaptureType(entries[i], static_cast<std::uint32_t>(i)) == Reading::kStops) {
            return -1;
        }
    }
    captureTypesTaken_ = true;
    const int result = completeCapturesWhenRead();
    return entries.empty() ? -1 : result;
}

// Kept: however many captures a profile lists, it has one item; the attributes answered last count.
OrvCHProfile::Reading OrvCHProfile::takeCaptureType(const DsEntry& entry, std::uint32_t capture) {
    const auto provideItem = [this] {
        if (!capture_) {
            capture_ = std::make_unique<CronCaptureItem>(name_);
        }
        return 0;
    };
    if (ScheduleItem::kindByName(entry.value) != ScheduleItem::kCron || orvGuarded(__func__, provideItem) < 0) {
        constexpr int kResult = -1;
        orvLog(kOrvLogDetail,
               "CALLHOME_READ_PROFILE_CAPTURE_TYPES - error %x changing type to %s, profile %u capture %u.",
               static_cast<unsigned>(kResult), entry.value.c_str(), index_, capture);
        return Reading::kGoesOn;
    }
    if (orvGuarded(__func__, [&] { return readCaptureAttrs(capture); }) < 0) {
        orvAlarm("OrvApp - problem reading capture entries from DS");
        return Reading::kStops;
    }
    return Reading::kGoesOn;
}

int OrvCHProfile::readCaptureAttrs(std::uint32_t capture) {
    ORV_TRACE("Index=%u\n", index_);
    if (!capture_ || capture_->kind() != ScheduleItem::kCron) {
        return 0;
    }
    std::vector<std::string> keys;
    for (const CaptureAttribute& attribute : kCaptureAttributes) {
        keys.push_back(orvFormat("Global.CallhomeDB.Profile.%u.Capture.%u.", index_, capture));
        keys.back() += attribute.name;
        orvLog(kOrvLogDetail, "%s - %s\n", attribute.announcement, keys.back().c_str());
    }
    if (bulkRead(kCaptureAttrsRequestId, keys, __func__, "readCaptureAttrs() - flushBulkGetSameComp() error") < 0) {
        return -1;
    }
    ++captureAttrsOutstanding_;
    return 0;
}

int OrvCHProfile::processCaptureAttrsBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses) {
    ORV_TRACE("Entry\n");
    if (entries.empty()) {
        orvLog(kOrvLogDetail, "Error CALLHOME_READ_PROFILE_CAPTURE_ATTRS in DS %x\n", kNothingAnswered);
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const std::int32_t status = orvStatusAt(statuses, i);
        if (!orvIsNotNegativeStatus(status)) {
            orvLog(kOrvLogDetail, "CALLHOME_READ_PROFILE_CAPTURE_ATTRS - bad status_array = %x",
                   static_cast<unsigned>(status));
        } else {
            orvBestEffort(__func__, [&] { takeCaptureAttr(entries[i], i); });
        }
    }
    if (captureAttrsOutstanding_ > 0) {
        --captureAttrsOutstanding_;
    }
    const int result = completeCapturesWhenRead();
    return entries.empty() ? -1 : result;
}

void OrvCHProfile::takeCaptureAttr(const DsEntry& entry, std::size_t position) {
    const std::optional<std::uint32_t> capture = captureNumber(entry.name);
    if (!capture) {
        orvLog(kOrvLogDetail, "CALLHOME_READ_PROFILE_CAPTURE_ATTRS - failed to extract index from SML %s, field %d\n",
               entry.name.c_str(), static_cast<int>(position));
        return;
    }
    if (!capture_ || capture_->kind() != ScheduleItem::kCron) {
        orvLog(kOrvLogDetail, "CALLHOME_READ_PROFILE_CAPTURE_ATTRS - profile %u, capture %u, unhandled capture type.",
               index_, *capture);
        return;
    }
    for (const CaptureAttribute& attribute : kCaptureAttributes) {
        if (!entry.name.ends_with(attribute.name)) {
            continue;
        }
        const int result = attribute.set(*capture_, entry.value);
        if (result < 0) {
            orvLog(kOrvLogDetail,
                   "CALLHOME_READ_PROFILE_CAPTURE_ATTRS - profile %u, capture %u, failed setting %s = %s, status = "
                   "%x\n",
                   index_, *capture, attribute.name.data(), entry.value.c_str(), static_cast<unsigned>(result));
        }
        return;
    }
    ORV_TRACE("unknown capture attribute %s\n", entry.name.c_str());
}

// Before the last attributes are in, the next profile must not be read: their answer would reach that one.
int OrvCHProfile::completeCapturesWhenRead() {
    return captureTypesTaken_ && captureAttrsOutstanding_ == 0 ? completePart(kCapturePart) : 0;
}
