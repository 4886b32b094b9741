#include "mesg/OrvCHMesg.h"

#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesg/OrvMesgSize.h"
#include "mesg/OrvMesgTags.h"

#include <new>

static constexpr char kTraceModule[] = "OrvCHMesg";

using namespace orv_mesg_tags;

OrvCHMesg::OrvCHMesg() = default;

OrvCHMesg::OrvCHMesg(std::int32_t type) {
    if (type == kLogEvent) {
        logEvent_.reset(new (std::nothrow) LogEventData);
    } else if (type == kCronCapture) {
        cronCapture_.reset(new (std::nothrow) CronCaptureData);
    }
    if (logEvent_ != nullptr || cronCapture_ != nullptr) {
        Type = type;
    }
}

OrvCHMesg::OrvCHMesg(const OrvCHMesg& other) {
    *this = other;
}

OrvCHMesg& OrvCHMesg::operator=(const OrvCHMesg& other) {
    if (this == &other) {
        return *this;
    }
    logEvent_.reset();
    cronCapture_.reset();
    Envelopes.clear();
    EnvelopeCursor = 0;
    Type = kNoType;
    bytesToSave_ = 0;
    mesgPartCounted_ = false;
    // The type data first: copying it may throw, and then this is a message without any.
    logEvent_ = other.logEvent_ ? std::make_unique<LogEventData>(*other.logEvent_) : nullptr;
    cronCapture_ = other.cronCapture_ ? std::make_unique<CronCaptureData>(*other.cronCapture_) : nullptr;
    Type = other.Type;
    bytesToSave_ = other.bytesToSave_;
    mesgPartCounted_ = other.mesgPartCounted_;
    FileName = other.FileName;
    Time = other.Time;
    ID = other.ID;
    Text = other.Text;
    DuplicateCount = other.DuplicateCount;
    DuplicateTime = other.DuplicateTime;
    TestProfile = other.TestProfile;
    Spare = other.Spare;
    for (const auto& envelope : other.Envelopes) {
        static_cast<void>(copyEnvelope(*envelope));  // alarmed already; the copy does without
    }
    return *this;
}

OrvCHMesg::~OrvCHMesg() = default;

int OrvCHMesg::addEnvelope(std::unique_ptr<OrvCHEnvelope> envelope) {
    bytesToSave_ = orvSaturate(std::int64_t{bytesToSave_} + envelope->bytesToSave());
    Envelopes.push_back(std::move(envelope));
    return 0;
}

int OrvCHMesg::copyEnvelope(const OrvCHEnvelope& envelope) {
    std::unique_ptr<OrvCHEnvelope> copy(new (std::nothrow) OrvCHEnvelope);
    if (copy == nullptr) {
        orvMemoryAlarm();
        ORV_TRACE("Failure to allocate OrvCHEnvelope object\n");
        return -1;
    }
    *copy = envelope;
    return addEnvelope(std::move(copy));
}

std::int32_t OrvCHMesg::bytesToSave() {
    if (!mesgPartCounted_) {
        bytesToSave_ = orvSaturate(std::int64_t{bytesToSave_} + mesgPart());
        mesgPartCounted_ = true;
    }
    return bytesToSave_;
}

std::int32_t OrvCHMesg::mesgPart() {
    constexpr std::int64_t kLineFeedsAndDigits = 29;
    std::int64_t bytes = orvLengths({kMesg, kMesgEnd, kDupCnt, kDupTime, kTime, kId, kText}) +
                         orvLengths({kEnvelopeList, kEnvelopeListEnd}) + orvLengths({DuplicateTime, Time, ID, Text}) +
                         5 * orvLengths({kEndOfRecord}) + kLineFeedsAndDigits;
    if (logEvent_ != nullptr) {
        bytes += logEvent_->bytesToSave();
    } else if (cronCapture_ != nullptr) {
        bytes += cronCapture_->bytesToSave();
    }
    return orvSaturate(bytes);
}

std::string OrvCHMesg::duplicateKey() const {
    if (logEvent_ != nullptr) {
        return logEvent_->duplicateKey() + Text;
    }
    return cronCapture_ != nullptr ? cronCapture_->Sequence + "CronCapture" : std::string();
}

std::string OrvCHMesg::nextAttachmentFile() {
    return cronCapture_ != nullptr ? cronCapture_->nextAttachmentFile() : std::string();
}

std::uint32_t OrvCHMesg::resetRecipients() {
    std::uint32_t undelivered = 0;
    for (const auto& envelope : Envelopes) {
        undelivered += envelope->resetRecipients();
    }
    return undelivered;
}
