#include "smtp/OrvMimeMail.h"

#include "mesg/OrvCHMesg.h"
#include "smtp/OrvMailAttachment.h"
#include "smtp/OrvMailCopy.h"
#include "smtp/OrvMailLines.h"

namespace {

using Empty = OrvMailBuffer::Empty;

constexpr char kPreamble[] =
    "This is a multi-part MIME format message.  The first part is\r\n"
    "readable text, while the remaining parts are unreadable without\r\n"
    "MIME-aware tools.\r\n\r\n";

void addCapture(OrvMailBuffer& buffer, const CronCaptureData& capture) {
    buffer.addLabelData(OrvMailLabel::kCapture, "Cron", Empty::kForce);
    buffer.addLabelData(OrvMailLabel::kDayOfWeek, capture.DayOfWeek, Empty::kForce);
    buffer.addLabelData(OrvMailLabel::kTimeOfDay, capture.TimeOfDay, Empty::kForce);
    buffer.addLabelData(OrvMailLabel::kInterval, capture.Interval, Empty::kForce);
    buffer.addLabelData(OrvMailLabel::kShell, capture.Shell, Empty::kForce);
    buffer.addLabelData(OrvMailLabel::kCommand, capture.Command, Empty::kForce);
    buffer.addLabelData(OrvMailLabel::kAttachments, std::to_string(capture.Attachments.size()), Empty::kForce);
}

}  // namespace

void orvAddMimeTextPart(OrvMailBuffer& buffer, const OrvMailSource& source) {
    const CronCaptureData& capture = *source.message.cronCapture();
    buffer.append(kPreamble);
    buffer.append("--" + capture.Boundary + "\r\n");
    buffer.append(kOrvTextPartHeader);
    orvAddSerialNumber(buffer, source);
    orvAddDuplicateCount(buffer, source);
    orvAddEvent(buffer, source, Empty::kForce);
    addCapture(buffer, capture);
}

void orvAddMimeAttachments(OrvMailBuffer& buffer, const OrvMimeAttachments& attachments) {
    orvMakeRoomForAttachments(buffer, attachments.names, attachments.captureId);
    for (const std::string& name : attachments.names) {
        // An attachment that cannot be had leaves an explanation in its place; the mail goes out all the same.
        compileAttachment(buffer, attachments.boundary, name, attachments.captureId);
    }
    // Kept: the copy is taken before the closing boundary is added.
    orvWriteMailCopy(buffer.text());
    buffer.append("--" + attachments.boundary + "--\r\n");
}
