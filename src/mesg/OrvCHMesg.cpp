#include "mesg/OrvCHMesg.h"

#include "Sw_Log_Type.h"
#include "base/OrvAssert.h"
#include "base/OrvFiles.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "base/OrvTimeText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesg/OrvMesgElement.h"
#include "mesg/OrvMesgFileReader.h"
#include "mesg/OrvMesgNumbers.h"
#include "mesg/OrvMesgTags.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <istream>
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

int OrvCHMesg::buildSwitchPowerUpData() {
    ORV_TRACE("Entry\n");
    return buildOwnEvent(kOrvPowerUpMesg, kOrvLevelWarn, "The switch has powered up and it is operational");
}

int OrvCHMesg::buildTestData(const std::string& profile) {
    ORV_TRACE("Entry\n");
    if (buildOwnEvent(kOrvTestMesg, kOrvLevelNone, "CALLHOME TEST PROFILE MESSAGE") < 0) {
        return -1;
    }
    TestProfile = profile;
    return 0;
}

int OrvCHMesg::buildSwitchStateData(const std::string& state) {
    ORV_TRACE("Entry\n");
    return buildOwnEvent(kOrvStateMesg, kOrvLevelWarn, "The switch operational state has changed to " + state);
}

int OrvCHMesg::buildOwnEvent(std::uint32_t number, std::int32_t level, const std::string& text) {
    if (provideLogEvent() < 0) {
        return -1;
    }
    Time = orvNowText();
    ID = orvMesgId(number);
    Text = text;
    logEvent_->Level = level;
    logEvent_->App = "Orv";
    return 0;
}

int OrvCHMesg::provideLogEvent() {
    if (logEvent_ == nullptr) {
        cronCapture_.reset();
        Type = kNoType;
        logEvent_.reset(new (std::nothrow) LogEventData);
    }
    if (logEvent_ == nullptr) {
        return -1;
    }
    Type = kLogEvent;
    return 0;
}

int OrvCHMesg::extractData(const Sw_Log_Type& record) {
    if (logEvent_ == nullptr) {
        orvAssertFailed("Mesg.LogEvent", __FILE__, __LINE__);
    }
    Time = orvEventTimeText(static_cast<std::time_t>(record.seconds), record.microseconds);
    ID = orvMesgId(record.number);
    Text = record.text.substr(0, record.text.rfind('\n'));
    logEvent_->extract(record, Text);
    return 0;
}

int OrvCHMesg::createMesgByType() {
    constexpr std::size_t kLength = 9;
    constexpr std::size_t kSeparator = 4;
    ORV_TRACE("Entry\n");
    if (ID.size() != kLength) {
        ORV_TRACE("Message ID length invalid\n");
        return -1;
    }
    if (ID.find('.') != kSeparator) {
        ORV_TRACE("Message ID field separator invalid\n");
        return -1;
    }
    return createData(orvMesgKind(orvMesgNumber(std::string(ID).erase(kSeparator, 1))));
}

// Kept: only log events come out of identifiers as they are read, signed. The other kinds are never met.
int OrvCHMesg::createData(OrvMesgKind kind) {
    if (kind == OrvMesgKind::kNone) {
        return 0;
    }
    logEvent_.reset();
    cronCapture_.reset();
    Type = kNoType;
    if (kind == OrvMesgKind::kCronCapture) {
        orvTrace(kTraceModule, "createMesgByType", "Message Type = CronCapture\n");
        cronCapture_.reset(new (std::nothrow) CronCaptureData);
    } else {
        orvTrace(kTraceModule, "createMesgByType", "Message Type = LogEvent\n");
        logEvent_.reset(new (std::nothrow) LogEventData);
        if (logEvent_ == nullptr) {
            logEvent_.reset(new (std::nothrow) LogEventData);  // for want of a moment's memory no message is lost
        }
    }
    if (logEvent_ == nullptr && cronCapture_ == nullptr) {
        orvTrace(kTraceModule, "createMesgByType", "Memory allocation failure!\n");
        return -1;
    }
    Type = kind == OrvMesgKind::kCronCapture ? kCronCapture : kLogEvent;
    return 0;
}

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
                         orvLengths({kEnvelopeList, kEnvelopeListEnd}) + orvLengths({duplicateTime(), Time, ID, Text}) +
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

std::string OrvCHMesg::fileText() const {
    constexpr std::size_t kUsualSize = 2048;
    std::string file;
    file.reserve(kUsualSize);
    orvAppendLine(file, kMesg);
    orvAppendElement(file, kDupCnt, std::to_string(DuplicateCount));
    orvAppendElement(file, kDupTime, DuplicateTime);
    orvAppendElement(file, kTime, Time);
    orvAppendElement(file, kId, ID);
    if (logEvent_ != nullptr) {
        logEvent_->save(file);
    } else if (cronCapture_ != nullptr) {
        cronCapture_->save(file);
    }
    orvAppendElement(file, kText, Text);
    orvAppendLine(file, kEnvelopeList);
    for (const auto& envelope : Envelopes) {
        envelope->save(file);
    }
    orvAppendLine(file, kEnvelopeListEnd);
    orvAppendLine(file, kMesgEnd);
    return file;
}

// Kept: the words of a file stream that throws, the last parenthesis unclosed. It holds a short text back until it is
// closed, and then it only fails; one that cannot be written at once is bad.
static int failSave(const char* step, const char* state, int error) {
    orvTrace(kTraceModule, "save", "fstream %s exception, flag bits=(%s ), errno=(%s), what=(%s\n", step, state,
             orvErrorText(error).c_str(), std::ios_base::failure("basic_ios::clear").what());
    return -1;
}

// A file with another name, too, is not the daemon's, and stays.
static void removeLeftover(const std::string& path) {
    struct stat status {};
    if (orvStatFile(path, status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1) {
        [[maybe_unused]] const int removed = orvUnlinkFile(path);
    }
}

// And how many bytes the file has.
static Descriptor openToSave(const std::string& path, bool isNew, off_t& size) {
    const auto open = [&](int flags) {
        constexpr mode_t kFileMode = 0666;
        return orvOnceMore([&] { return orvOpenFile(path, O_WRONLY | O_CREAT | flags, kFileMode, size); });
    };
    if (isNew) {
        Descriptor file = open(O_EXCL);
        if (file || errno != EEXIST) {
            return file;
        }
        removeLeftover(path);
    }
    return open(0);
}

// One text and one write: a file is saved for every event, and flash is slow.
int OrvCHMesg::save(bool isNew) const {
    constexpr std::size_t kHeldBack = 1023;
    const std::string text = fileText();
    off_t before = 0;
    Descriptor file = openToSave(FileName, isNew, before);
    if (!file) {
        return failSave("open", "failbit", errno);
    }
    if (orvReplaceContent(file.get(), before, text) < 0) {
        return failSave("I/O", text.size() > kHeldBack ? "badbit" : "failbit", errno);
    }
    return file.close() < 0 ? failSave("I/O", "failbit", errno) : 0;
}

// No file, or one without a byte. Without a descriptor to ask with, opening it has to tell.
static bool isEmptyFile(const std::string& path) {
    struct stat status {};
    const int result = orvOnceMore([&] { return orvStatFile(path, status); });
    return result < 0 ? errno != EMFILE && errno != ENFILE : status.st_size == 0;
}

int OrvCHMesg::restore() {
    if (isEmptyFile(fileName())) {
        orvLogAndTrace(kTraceModule, __func__, orv_log::kFileEmpty, fileName().c_str());
        return -1;
    }
    ORV_TRACE("restoring from file %s\n", fileName().c_str());
    const Descriptor file = orvOnceMore([&] { return orvOpenFile(fileName(), O_RDONLY); });
    if (!file) {
        ORV_TRACE("[FAIL] could not open %s\n", fileName().c_str());
        return -1;
    }
    OrvFileBuf bytes(file.get());
    std::istream stream(&bytes);
    stream.exceptions(std::ios_base::badbit);  // or a line without memory would pass for the file's end
    OrvMesgFileReader reader(stream, *this);
    if (reader.findStart() < 0) {
        return -1;
    }
    bytesToSave_ = 0;
    mesgPartCounted_ = false;
    return reader.readElements();
}

void OrvCHMesg::probe() const {
    ORV_TRACE("PROBE ----------------------------------\n");
    ORV_TRACE("  OrvCHMesg\n");
    ORV_TRACE("    BytesToSave = %d\n", bytesToSave_);
    ORV_TRACE("    FileName = %s\n", fileName().c_str());
    ORV_TRACE("    DuplicateCount = %d\n", duplicateCount());
    ORV_TRACE("    DuplicateTime = %s\n", duplicateTime().c_str());
    ORV_TRACE("    Time = %s\n", Time.c_str());
    ORV_TRACE("    ID = %s\n", ID.c_str());
    if (logEvent_ != nullptr) {
        ORV_TRACE("    Type = %s\n", "LogEvent");
        logEvent_->probe();
    } else if (cronCapture_ != nullptr) {
        ORV_TRACE("    Type = %s\n", "CronCapture");
        cronCapture_->probe();
    } else {
        ORV_TRACE("    Type = \n");
    }
    ORV_TRACE("    Text = %s\n", Text.c_str());
    for (std::size_t i = 0; i < Envelopes.size(); ++i) {
        ORV_TRACE("    Envelope[%d]:\n", static_cast<int>(i));
        Envelopes[i]->probe();
    }
}
