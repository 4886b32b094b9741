#include "profile/OrvCHProfile.h"

#include "base/OrvNumber.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "base/OrvTimeText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"

#include <algorithm>
#include <new>

namespace {

constexpr char kTraceModule[] = "OrvCHProfile";

constexpr std::size_t kLongestName = 32;
constexpr std::size_t kLongestSubject = 64;
constexpr std::int32_t kSmallestMail = 650;
constexpr std::int32_t kLargestMail = 2000000;
constexpr std::size_t kMostEmails = 10;

int assignUpTo(std::size_t longest, const std::string& value, std::string& field) {
    if (value.size() > longest) {
        return -1;
    }
    field = value;
    return 0;
}

}  // namespace

int OrvCHProfile::setName(const std::string& name) {
    return assignUpTo(kLongestName, name, name_);
}

int OrvCHProfile::setLevel(const std::string& levelName) {
    if (levelName.size() > kLongestName) {
        level_ = kOrvLevelNone;
        return -1;
    }
    level_ = orvLevelNumber(levelName);
    return 0;
}

int OrvCHProfile::setFormat(const std::string& format) {
    return assignUpTo(kLongestName, format, format_);
}

int OrvCHProfile::setMaxSize(const std::string& bytes) {
    const OrvSignedNumber number = orvToSigned(bytes);
    if (!number.complete && !bytes.empty()) {
        return -1;
    }
    maxSize_ = static_cast<std::uint32_t>(std::clamp(number.value, kSmallestMail, kLargestMail));
    return 0;
}

int OrvCHProfile::setEmailSubject(const std::string& subject) {
    return assignUpTo(kLongestSubject, subject, emailSubject_);
}

int OrvCHProfile::setNumOfEmailEntries(const std::string& number) {
    numOfEmailEntries_ = orvToUnsigned(number).value;
    return 0;
}

int OrvCHProfile::setCaptureEnable(const std::string& enable) {
    captureEnable_ = enable == "True";
    return 0;
}

int OrvCHProfile::setCaptureEntries(const std::string& number) {
    captureEntries_ = orvToUnsigned(number).value;
    return 0;
}

int OrvCHProfile::addEmail(const std::string& address) {
    if (emails_.size() >= kMostEmails) {
        return -1;
    }
    emails_.push_back(address);
    return 0;
}

int OrvCHProfile::clearEmailList() {
    emails_.clear();
    numOfEmailEntries_ = 0;
    return 0;
}

void OrvCHProfile::provideCapture() {
    if (!capture_) {
        capture_ = orvPersistently([this] { return std::make_unique<CronCaptureItem>(name_); });
    }
}

std::unique_ptr<OrvCHEnvelope> OrvCHProfile::envelopeFor(std::int32_t level, bool force) {
    if (level < level_ && !force) {
        return nullptr;
    }
    if (emails_.empty()) {
        return nullptr;
    }
    std::unique_ptr<OrvCHEnvelope> envelope(new (std::nothrow) OrvCHEnvelope);
    if (!envelope) {
        orvMemoryAlarm();
        return nullptr;
    }
    envelope->ProfileName = name_;
    envelope->Subject = emailSubject_;
    envelope->Recipients = emails_;
    envelope->Type = format_;
    envelope->MaxSize = maxSize_;
    processedLast_ = orvNowText();
    ++processedCount_;
    return envelope;
}

void OrvCHProfile::dumpProfileInfo(const CronCaptureItem* scheduled) const {
    std::string text = "Profile Information:\n";
    text += orvFormat("  Config            = %u\n", config_);
    text += orvFormat("  Name              = %s\n", name_.c_str());
    text += orvFormat("  Index             = %u\n", index_);
    text += orvFormat("  Level             = %s\n", orvLevelName(level_));
    text += orvFormat("  Format            = %s\n", format_.c_str());
    text += orvFormat("  MaxSize           = %u\n", maxSize_);
    text += orvFormat("  EmailSubject      = %s\n", emailSubject_.c_str());
    text += orvFormat("  ProcessedCount    = %u\n", processedCount_);
    text += orvFormat("  ProcessedLast     = %s\n", processedLast_.c_str());
    text += orvFormat("  NumOfEmailEntries = %u, list size=%u\n", numOfEmailEntries_,
                      static_cast<unsigned>(emails_.size()));
    text += orvFormat("  CaptureEnable     = %d\n", captureEnable_ ? 1 : 0);
    text += orvFormat("  CaptureEntries    = %u\n", captureEntries_);
    for (std::size_t i = 0; i < emails_.size(); ++i) {
        text += orvFormat("    Email Addr[%u] = %s\n", static_cast<unsigned>(i), emails_[i].c_str());
    }
    text += dumpCapture(scheduled);
    ORV_TRACE("\n%s\n", text.c_str());
}

// The schedule runs copies of the item: the times of this one's runs are always those before the first.
std::string OrvCHProfile::dumpCapture(const CronCaptureItem* scheduled) const {
    if (!capture_) {
        return "";
    }
    const CronCaptureItem& times = scheduled != nullptr ? *scheduled : *capture_;
    std::string text = orvFormat("    Capture[0]: (%s)\n", ScheduleItem::kindName(capture_->kind()));
    text += orvFormat("      DayOfWeek     = %s\n", capture_->dayName());
    text += orvFormat("      TimeOfDay     = %s\n", capture_->timeOfDayText().c_str());
    text += orvFormat("      Interval      = %s\n", capture_->intervalText().c_str());
    text += orvFormat("      Shell         = %s\n", capture_->shell().c_str());
    text += orvFormat("      Command       = %s\n", capture_->command().c_str());
    text += orvFormat("      LastExecution = %s\n", orvMailDateText(times.LastExecution).c_str());
    text += orvFormat("      NextExecution = %s\n", orvMailDateText(times.NextExecution).c_str());
    return text;
}
