#include "profile/OrvProfileCaptures.h"

#include "MessageCodes.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "profile/OrvDsStatus.h"
#include "profile/OrvProfileRequests.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

bool onSchedule(const CronCaptureItem* item) {
    return item != nullptr && item->kind() == ScheduleItem::kCron;
}

}  // namespace

void OrvProfileCaptures::restart() {
    requested_ = false;
    typesTaken_ = false;
    attrsOutstanding_ = 0;
}

int OrvProfileCaptures::readCaptureTypes() {
    ORV_TRACE("Index=%u\n", profile_.index());
    if (profile_.captureEntries() == 0) {
        profile_.partRead(OrvCHProfile::kCapturePart);
        return 0;
    }
    const auto keys = orvPersistently([this] {
        std::vector<std::string> composed;
        const std::uint32_t count = std::min<std::uint32_t>(profile_.captureEntries(), dsClient::MAX_BULK_NAMES);
        for (std::uint32_t i = 0; i < count; ++i) {
            composed.push_back(orvFormat("Global.CallhomeDB.Profile.%u.Capture.%u.Type", profile_.index(), i));
        }
        return composed;
    });
    for (const std::string& key : keys) {
        orvLog(orv_log::kCaptureTypeRequest, key.c_str());
    }
    requested_ = true;
    return orvReadProfileAttributes(store_, DsRequestId::PROFILE_CAPTURE_TYPES, keys, __func__,
                                    orv_log::kCaptureTypesUnread);
}

int OrvProfileCaptures::processCaptureTypesBulk(std::span<const DsEntry> entries,
                                                std::span<const std::int32_t> statuses) {
    ORV_TRACE("Entry\n");
    if (entries.empty()) {
        orvLog(orv_log::kCaptureTypesEmpty, kNothingAnswered);
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const std::int32_t status = orvStatusAt(statuses, i);
        if (!orvIsNotNegativeStatus(status)) {
            orvLog(orv_log::kCaptureTypesStatus, static_cast<unsigned>(status));
        } else if (takeCaptureType(entries[i], static_cast<std::uint32_t>(i)) == OrvReading::kStops) {
            return -1;
        }
    }
    typesTaken_ = true;
    return entries.empty() ? -1 : 0;
}

// Kept: however many captures a profile lists, it has one item; the attributes answered last count.
OrvReading OrvProfileCaptures::takeCaptureType(const DsEntry& entry, std::uint32_t capture) {
    const auto provideItem = [this] {
        profile_.provideCapture();
        return 0;
    };
    if (ScheduleItem::kindByName(entry.value) != ScheduleItem::kCron || orvGuarded(__func__, provideItem) < 0) {
        constexpr int kResult = -1;
        orvLog(orv_log::kCaptureTypeRefused, static_cast<unsigned>(kResult), entry.value.c_str(), profile_.index(),
               capture);
        return OrvReading::kGoesOn;
    }
    if (orvGuarded(__func__, [&] { return readCaptureAttrs(capture); }) < 0) {
        orvAlarm(orv_log::kCapturesUnread);
        return OrvReading::kStops;
    }
    return OrvReading::kGoesOn;
}

int OrvProfileCaptures::readCaptureAttrs(std::uint32_t capture) {
    ORV_TRACE("Index=%u\n", profile_.index());
    if (!onSchedule(profile_.capture())) {
        return 0;
    }
    const auto keys = orvPersistently([this, capture] {
        std::vector<std::string> composed;
        for (const CaptureAttribute& attribute : kCaptureAttributes) {
            composed.push_back(orvFormat("Global.CallhomeDB.Profile.%u.Capture.%u.%s", profile_.index(), capture,
                                         attribute.name.data()));
        }
        return composed;
    });
    for (std::size_t i = 0; i < keys.size(); ++i) {
        orvLog(kCaptureAttributes[i].announcement, keys[i].c_str());
    }
    if (orvReadProfileAttributes(store_, DsRequestId::PROFILE_CAPTURE_ATTRS, keys, __func__,
                                 orv_log::kCaptureAttrsUnread) < 0) {
        return -1;
    }
    ++attrsOutstanding_;
    return 0;
}

int OrvProfileCaptures::processCaptureAttrsBulk(std::span<const DsEntry> entries,
                                                std::span<const std::int32_t> statuses) {
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
    if (attrsOutstanding_ > 0) {
        --attrsOutstanding_;
    }
    return entries.empty() ? -1 : 0;
}

void OrvProfileCaptures::takeCaptureAttr(const DsEntry& entry, std::size_t position) {
    const std::optional<std::uint32_t> capture = captureNumber(entry.name);
    if (!capture) {
        orvLog(orv_log::kCaptureNoNumber, entry.name.c_str(), static_cast<int>(position));
        return;
    }
    if (!onSchedule(profile_.capture())) {
        orvLog(orv_log::kCaptureUnknownType, profile_.index(), *capture);
        return;
    }
    for (const CaptureAttribute& attribute : kCaptureAttributes) {
        if (!entry.name.ends_with(attribute.name)) {
            continue;
        }
        const int result = orvPersistently([&] { return attribute.set(*profile_.capture(), entry.value); });
        if (result < 0) {
            orvLog(orv_log::kCaptureAttrRefused, profile_.index(), *capture, attribute.name.data(), entry.value.c_str(),
                   static_cast<unsigned>(result));
        }
        return;
    }
    ORV_TRACE("unknown capture attribute %s\n", entry.name.c_str());
}
