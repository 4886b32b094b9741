#include "base/OrvFiles.h"
#include "dbg/OrvDbg.h"
#include "mesg/CronCaptureData.h"
#include "mesg/OrvMesgElement.h"
#include "mesg/OrvMesgSize.h"
#include "mesg/OrvMesgTags.h"
#include "mesg/OrvMesgText.h"

#include <sys/stat.h>

#include <array>

static constexpr char kTraceModule[] = "CronCaptureData";

using namespace orv_mesg_tags;

namespace {

struct Element {
    std::string_view tag;
    std::string CronCaptureData::*field;
};

// In the order written, which is also the order of the bits of MissingAttributes; the attachment list follows.
constexpr std::array<Element, 6> kElements = {{
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

std::int32_t CronCaptureData::bytesToSave() {
    constexpr std::int64_t kLineFeeds = 20;
    std::int64_t bytes = orvLengths({kCronAttchList, kCronAttchListEnd}) + kLineFeeds;
    for (const Element& element : kElements) {
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
    for (const Element& element : kElements) {
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
    MissingAttributes = withoutBit(MissingAttributes, kElements.size());
    return true;
}

bool CronCaptureData::restoreText(std::string_view tag, std::istream& stream) {
    for (std::size_t i = 0; i < kElements.size(); ++i) {
        if (tag == kElements[i].tag) {
            if (restoreThruDashTag(tag, stream, this->*kElements[i].field) < 0) {
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
