#include "mesg/CronCaptureData.h"

#include "base/OrvAssert.h"
#include "base/OrvFiles.h"
#include "base/OrvPaths.h"
#include "base/OrvText.h"
#include "base/OrvTimeText.h"
#include "dbg/OrvDbg.h"
#include "mesg/OrvBase64.h"
#include "mesg/OrvMesgElement.h"
#include "mesg/OrvMesgTags.h"
#include "mesg/OrvSequenceSource.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <new>
#include <utility>

static constexpr char kTraceModule[] = "CronCaptureData";

static constexpr int kLineSize = 72;

using namespace orv_mesg_tags;

namespace {

struct CaptureElement {
    std::string_view tag;
    std::string CronCaptureData::*field;
};

// In the order written, which is also the order of the bits of MissingAttributes; the attachment list follows.
constexpr std::array<CaptureElement, 6> kCaptureElements = {{
    {kCronSeq, &CronCaptureData::Sequence},
    {kCronDay, &CronCaptureData::DayOfWeek},
    {kCronTime, &CronCaptureData::TimeOfDay},
    {kCronInterval, &CronCaptureData::Interval},
    {kCronShell, &CronCaptureData::Shell},
    {kCronCommand, &CronCaptureData::Command},
}};

std::uint8_t withoutBit(std::uint8_t bits, std::size_t bit) {
    return static_cast<std::uint8_t>(bits & ~(1u << bit));
}

}  // namespace

static std::atomic<OrvSequenceSource*> sequenceSource{nullptr};

void CronCaptureData::useSequences(OrvSequenceSource* source) {
    sequenceSource = source;
}

static std::string drawSequence() {
    OrvSequenceSource* source = sequenceSource;
    ORV_ASSERT(source != nullptr);
    return std::to_string(source->nextSequence());
}

static std::string newBoundary() {
    const std::string now = orvFormat("%llx", static_cast<unsigned long long>(orvCalendarNow()));
    return now + "-CallHome-CronCapture-" + now;
}

CronCaptureData::CronCaptureData() : Boundary(newBoundary()) {
}

CronCaptureData::CronCaptureData(const CronCaptureData& other, std::string sequence)
    : Sequence(std::move(sequence)),
      DayOfWeek(other.DayOfWeek),
      TimeOfDay(other.TimeOfDay),
      Interval(other.Interval),
      Shell(other.Shell),
      Command(other.Command),
      Boundary(other.Boundary),
      Attachments(other.Attachments),
      AttachmentCursor(other.AttachmentCursor),
      AttachmentBytes(other.AttachmentBytes),
      MissingAttributes(other.MissingAttributes),
      RestoreStatus(other.RestoreStatus) {
}

// In two steps, so that links made before an exception are unlinked by the destructor.
CronCaptureData::CronCaptureData(const CronCaptureData& other) : CronCaptureData(other, drawSequence()) {
    copyAttachments(other.Sequence);
}

CronCaptureData::~CronCaptureData() {
    try {
        eraseAttachments();
    } catch (const std::bad_alloc&) {
        ORV_TRACE("no memory to unlink the staged files of sequence %s\n", Sequence.c_str());
    }
}

static std::string stagedUnder(const std::string& sequence, const std::string& name) {
    return std::string(kOrvAttachmentsDirectory) + "/" + name + "." + sequence;
}

std::string CronCaptureData::stagedPath(const std::string& name) const {
    return stagedUnder(Sequence, name);
}

// 0, or the error number.
static int unlinkStaged(const std::string& staged) {
    return orvUnlinkFile(staged) == 0 ? 0 : errno;
}

// 0, or -1 traced under the method that found it.
static int eraseStaged(const char* method, const std::string& staged) {
    const int error = unlinkStaged(staged);
    if (error != 0) {
        orvTrace(kTraceModule, method, "unlink(%s): %s\n", staged.c_str(), orvErrorText(error).c_str());
        return -1;
    }
    return 0;
}

int CronCaptureData::insertAttachment(const std::string& path) {
    std::string name = path.substr(path.rfind('/') + 1);  // npos + 1 is 0: the whole path
    const std::string staged = stagedPath(name);
    Attachments.reserve(Attachments.size() + 1);  // listing it must not fail once it is staged
    const int result = b64(kB64Encode, path, staged, kLineSize);
    if (result == kB64Okay) {
        Attachments.push_back(std::move(name));
        return 0;
    }
    ORV_TRACE("b64(%s, %s): %s\n", path.c_str(), staged.c_str(), b64Message(result).c_str());
    ORV_TRACE("Removing output file %s\n", staged.c_str());
    if (const int error = unlinkStaged(staged); error != 0) {
        ORV_TRACE("Failed to remove output file %s: %s\n", staged.c_str(), orvErrorText(error).c_str());
    }
    return -1;
}

int CronCaptureData::eraseAttachment(const std::string& name) {
    const auto found = std::find(Attachments.begin(), Attachments.end(), name);
    if (found == Attachments.end()) {
        return 0;
    }
    const std::string staged = stagedPath(name);
    Attachments.erase(found);  // name may have lived in the list: not to be used any more
    AttachmentCursor = 0;
    return eraseStaged(__func__, staged);
}

void CronCaptureData::eraseAttachments() {
    for (const std::string& name : Attachments) {
        static_cast<void>(eraseStaged(__func__, stagedPath(name)));
    }
}

int CronCaptureData::copyAttachments(const std::string& oldSequence) {
    int result = 0;
    for (const std::string& name : Attachments) {
        const std::string source = stagedUnder(oldSequence, name);
        const std::string target = stagedPath(name);
        if (orvLinkFile(source, target) != 0) {
            const int error = errno;
            ORV_TRACE("link(%s, %s): %s\n", source.c_str(), target.c_str(), orvErrorText(error).c_str());
            result = -1;
        }
    }
    return result;
}

std::string CronCaptureData::nextAttachmentFile() {
    const auto end = static_cast<std::ptrdiff_t>(Attachments.size());
    AttachmentCursor = std::min(AttachmentCursor + 1, end);
    if (AttachmentCursor == end) {
        return {};
    }
    return Attachments[static_cast<std::size_t>(AttachmentCursor)] + "." + Sequence;
}

std::int32_t CronCaptureData::bytesToSave() {
    constexpr std::int64_t kLineFeeds = 20;
    std::int64_t bytes = orvLengths({kCronAttchList, kCronAttchListEnd}) + kLineFeeds;
    for (const CaptureElement& element : kCaptureElements) {
        bytes += orvLengths({element.tag, this->*element.field, kEndOfRecord});
    }
    for (const std::string& name : Attachments) {
        bytes += orvLengths({name}) + 1;
        struct stat status {};
        if (orvStatFile(stagedPath(name), status) == 0 && !S_ISLNK(status.st_mode)) {
            AttachmentBytes = orvSaturate(std::int64_t{AttachmentBytes} + status.st_size);
        }
    }
    return orvSaturate(bytes + AttachmentBytes);
}

void CronCaptureData::save(std::string& file) const {
    for (const CaptureElement& element : kCaptureElements) {
        orvAppendElement(file, element.tag, this->*element.field);
    }
    orvAppendLine(file, kCronAttchList);
    for (const std::string& name : Attachments) {
        orvAppendLine(file, name);
    }
    orvAppendLine(file, kCronAttchListEnd);
}

bool CronCaptureData::restore(std::string_view tag, std::istream& stream) {
    return tag == kCronAttchList ? restoreAttachments(stream) : restoreText(tag, stream);
}

bool CronCaptureData::restoreAttachments(std::istream& stream) {
    Attachments.clear();
    AttachmentCursor = -1;
    if (orvReadList(kCronAttchListEnd, stream, Attachments) < 0) {
        return false;
    }
    MissingAttributes = withoutBit(MissingAttributes, kCaptureElements.size());
    return true;
}

bool CronCaptureData::restoreText(std::string_view tag, std::istream& stream) {
    for (std::size_t i = 0; i < kCaptureElements.size(); ++i) {
        if (tag == kCaptureElements[i].tag) {
            if (restoreThruDashTag(tag, stream, this->*kCaptureElements[i].field) < 0) {
                RestoreStatus = -1;
            } else {
                MissingAttributes = withoutBit(MissingAttributes, i);
            }
            return true;
        }
    }
    return false;
}

void CronCaptureData::probe() const {
    ORV_TRACE("    Sequence= %s\n", Sequence.c_str());
    ORV_TRACE("    DayOfWeek = %s\n", DayOfWeek.c_str());
    ORV_TRACE("    TimeOfDay = %s\n", TimeOfDay.c_str());
    ORV_TRACE("    Interval = %s\n", Interval.c_str());
    ORV_TRACE("    Shell = %s\n", Shell.c_str());
    ORV_TRACE("    Command = %s\n", Command.c_str());
    for (std::size_t i = 0; i < Attachments.size(); ++i) {
        ORV_TRACE("    Attachment[%d] = %s (%s.%s)\n", static_cast<int>(i), Attachments[i].c_str(),
                  Attachments[i].c_str(), Sequence.c_str());
    }
}
