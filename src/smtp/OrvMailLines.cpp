#include "smtp/OrvMailLines.h"

#include "base/OrvTimeText.h"
#include "mesg/OrvCHMesg.h"
#include "mesg/OrvLevel.h"
#include "profile/OrvCHMesgCommon.h"
#include "smtp/OrvLineEnd.h"

namespace {

// No recipient is ever named in the text: they are given to the server only.
constexpr char kNoBcc[] = " ";

std::string subject(const OrvMailSource& source) {
    const bool capture = source.message.cronCapture() != nullptr;
    const char* eventTag = source.envelope.Type == kOrvFormatTsc1 ? "-Event" : "";
    const char* tag = capture ? "-CronCapture" : eventTag;
    return "[CallHome" + std::string(tag) + ": " + source.envelope.ProfileName + "] " + source.envelope.Subject;
}

const std::string& lastTime(const OrvCHMesg& message) {
    return message.DuplicateCount < 1 ? message.Time : message.DuplicateTime;
}

}  // namespace

void orvAddMailHeader(OrvMailBuffer& buffer, const OrvMailSource& source) {
    buffer.addLabelData(OrvMailLabel::kDate, orvMailDateText(orvCalendarNow()));
    buffer.addLabelData(OrvMailLabel::kFrom, source.identity.From);
    buffer.addLabelData(OrvMailLabel::kBcc, kNoBcc);
    if (!orvIsDefaultSender(source.identity.ReplyTo)) {
        buffer.addLabelData(OrvMailLabel::kReplyTo, source.identity.ReplyTo);
    }
    buffer.addLabelData(OrvMailLabel::kSubject, subject(source));
    if (const CronCaptureData* capture = source.message.cronCapture(); capture != nullptr) {
        buffer.addLabelData(OrvMailLabel::kMimeVersion, "1.0");
        buffer.addLabelData(OrvMailLabel::kContentType, "multipart/mixed; boundary=\"" + capture->Boundary + "\"");
    }
    // Kept: a line end as value gives two, the empty line that ends the headers and one more.
    buffer.addLabelData(OrvMailLabel::kNone, kOrvLineEnd);
}

void orvAddSerialNumber(OrvMailBuffer& buffer, const OrvMailSource& source) {
    buffer.addLabelData(OrvMailLabel::kSerialNumber, source.identity.SerialNum);
}

void orvAddDuplicateCount(OrvMailBuffer& buffer, const OrvMailSource& source) {
    buffer.addLabelData(OrvMailLabel::kDuplicateCount, std::to_string(source.message.DuplicateCount),
                        OrvMailBuffer::Empty::kForce);
}

void orvAddEvent(OrvMailBuffer& buffer, const OrvMailSource& source, OrvMailBuffer::Empty empty) {
    buffer.addLabelData(OrvMailLabel::kSwitchName, source.identity.SymName, empty);
    buffer.addLabelData(OrvMailLabel::kSwitchIp, source.clientIdentity, empty);
    buffer.addLabelData(OrvMailLabel::kSwitchWwn, source.identity.WWN, empty);
    buffer.addLabelData(OrvMailLabel::kText, source.message.Text, empty);
    buffer.addLabelData(OrvMailLabel::kId, source.message.ID, empty);
    buffer.addLabelData(OrvMailLabel::kTime, lastTime(source.message), empty);
}

void orvAddEventDetails(OrvMailBuffer& buffer, const OrvMailSource& source, OrvMailBuffer::Empty empty) {
    const LogEventData& event = *source.message.logEvent();
    buffer.addLabelData(OrvMailLabel::kLevel, orvLevelName(event.Level), empty);
    buffer.addLabelData(OrvMailLabel::kBlade, event.Blade, empty);
    buffer.addLabelData(OrvMailLabel::kAsic, event.ASIC, empty);
    buffer.addLabelData(OrvMailLabel::kPort, event.Port, empty);
    buffer.addLabelData(OrvMailLabel::kVFabric, event.VID, empty);
    buffer.addLabelData(OrvMailLabel::kApplication, event.App, empty);
    buffer.addLabelData(OrvMailLabel::kComponent, event.Components, empty);
}
