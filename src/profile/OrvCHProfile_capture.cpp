// How a profile reads its scheduled capture: the types, then the attributes of each capture on a schedule.
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
#include <charconv>

namespace {

constexpr char kTraceModule[] = "OrvCHProfile";

// What an answer without any entry reports, since the store tells no reason.
constexpr unsigned kNothingAnswered = 0xFFFFFFFFu;

struct CaptureAttribute {
    std::string_view name;
    const OrvLogEntry<const char*>& announcement;
    int (*set)(CronCaptureItem& item, const std::string& value);
};

constexpr std::array kCaptureAttributes{
    CaptureAttribute{"DayOfWeek", orv_log::kCaptureDayRequest,
                     [](CronCaptureItem& item, const std::string& value) { return item.setDayOfWeek(value); }},
    CaptureAttribute{"TimeOfDay", orv_log::kCaptureTimeRequest,
                     [](CronCaptureItem& item, const std::string& value) { return item.setTimeOfDay(value); }},
    CaptureAttribute{"Interval", orv_log::kCaptureIntervalRequest,
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
    const auto keys = orvPersistently([this] {
        std::vector<std::string> composed;
        const std::uint32_t count = std::min<std::uint32_t>(captureEntries_, dsClient::MAX_BULK_NAMES);
        for (std::uint32_t i = 0; i < count; ++i) {
            composed.push_back(orvFormat("Global.CallhomeDB.Profile.%u.Capture.%u.Type", index_, i));
        }
        return composed;
    });
    for (const std::string& key : keys) {
        orvLog(orv_log::kCaptureTypeRequest, key.c_str());
    }
    requested_ |= kCapturePart;
    return bulkRead(DsRequestId::PROFILE_CAPTURE_TYPES, keys, __func__, orv_log::kCaptureTypesUnread);
}

int OrvCHProfile::processCaptureTypesBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses) {
    ORV_TRACE("Entry\n");
    if (entries.empty()) {
        orvLog(orv_log::kCaptureTypesEmpty, kNothingAnswered);
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const std::int32_t status = orvStatusAt(statuses, i);
        if (!orvIsNotNegativeStatus(status)) {
            orvLog(orv_log::kCaptureTypesStatus, static_cast<unsigned>(status));
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
            capture_ = orvPersistently([this] { return std::make_unique<CronCaptureItem>(name_); });
        }
        return 0;
    };
    if (ScheduleItem::kindByName(entry.value) != ScheduleItem::kCron || orvGuarded(__func__, provideItem) < 0) {
        constexpr int kResult = -1;
        orvLog(orv_log::kCaptureTypeRefused, static_cast<unsigned>(kResult), entry.value.c_str(), index_, capture);
        return Reading::kGoesOn;
    }
    if (orvGuarded(__func__, [&] { return readCaptureAttrs(capture); }) < 0) {
        orvAlarm(orv_log::kCapturesUnread);
        return Reading::kStops;
    }
    return Reading::kGoesOn;
}

int OrvCHProfile::readCaptureAttrs(std::uint32_t capture) {
    ORV_TRACE("Index=%u\n", index_);
    if (!capture_ || capture_->kind() != ScheduleItem::kCron) {
        return 0;
    }
    const auto keys = orvPersistently([this, capture] {
        std::vector<std::string> composed;
        for (const CaptureAttribute& attribute : kCaptureAttributes) {
            composed.push_back(
                orvFormat("Global.CallhomeDB.Profile.%u.Capture.%u.%s", index_, capture, attribute.name.data()));
        }
        return composed;
    });
    for (std::size_t i = 0; i < keys.size(); ++i) {
        orvLog(kCaptureAttributes[i].announcement, keys[i].c_str());
    }
    if (bulkRead(DsRequestId::PROFILE_CAPTURE_ATTRS, keys, __func__, orv_log::kCaptureAttrsUnread) < 0) {
        return -1;
    }
    ++captureAttrsOutstanding_;
    return 0;
}

int OrvCHProfile::processCaptureAttrsBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses) {
    ORV_TRACE("Entry\n");
    if (entries.empty()) {
        orvLog(orv_log::kCaptureAttrsEmpty, kNothingAnswered);
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const std::int32_t status = orvStatusAt(statuses, i);
        if (!orvIsNotNegativeStatus(status)) {
            orvLog(orv_log::kCaptureAttrsStatus, static_cast<unsigned>(status));
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
        orvLog(orv_log::kCaptureNoNumber, entry.name.c_str(), static_cast<int>(position));
        return;
    }
    if (!capture_ || capture_->kind() != ScheduleItem::kCron) {
        orvLog(orv_log::kCaptureUnknownType, index_, *capture);
        return;
    }
    for (const CaptureAttribute& attribute : kCaptureAttributes) {
        if (!entry.name.ends_with(attribute.name)) {
            continue;
        }
        const int result = orvPersistently([&] { return attribute.set(*capture_, entry.value); });
        if (result < 0) {
            orvLog(orv_log::kCaptureAttrRefused, index_, *capture, attribute.name.data(), entry.value.c_str(),
                   static_cast<unsigned>(result));
        }
        return;
    }
    ORV_TRACE("unknown capture attribute %s\n", entry.name.c_str());
}

// Before the last attributes are in, the next profile must not be read: their answer would reach that one.
int OrvCHProfile::completeCapturesWhenRead() {
    return captureTypesTaken_ && captureAttrsOutstanding_ == 0 ? completePart(kCapturePart) : 0;
}
