#include "smtp/OrvTextMail.h"

#include "base/OrvTimeText.h"
#include "mesg/OrvCHMesg.h"
#include "mesg/OrvMesgNumbers.h"
#include "profile/OrvCHMesgCommon.h"

namespace {

using Empty = OrvMailBuffer::Empty;

// The format that asks for every line, in a fixed order.
constexpr char kTsc1[] = "Tsc1";
// No recipient is ever named in the text: they are given to the server only.
constexpr char kNoBcc[] = " ";

const std::string& lastTime(const OrvCHMesg& message) ORV_REQUIRES(message.lock()) {
    return message.DuplicateCount < 1 ? message.Time : message.DuplicateTime;
}

constexpr char kNoLocation[] = "<sysLocation undefined>";
constexpr char kNoContact[] = "<sysContact undefined>";
constexpr char kUndefined[] = "<undefined>";

bool isSet(const std::string& value, const char* marker) {
    return !value.empty() && value != marker;
}

void addHeading(OrvMailBuffer& buffer, std::string_view heading) {
    buffer.addLabelData(orv_label::kNone, kOrvLineEnd);
    buffer.addLabelData(orv_label::kRule, heading);
}

void addDuplicateLine(OrvMailBuffer& buffer, const OrvCHMesg& message) ORV_REQUIRES(message.lock()) {
    if (message.DuplicateCount <= 0) {
        return;
    }
    std::string text = "Message is a duplicate";
    if (message.DuplicateCount != 1) {
        text += ": last of " + std::to_string(message.DuplicateCount) + " repeated messages...";
    }
    buffer.addLabelData(orv_label::kRule, text);
}

void addLocation(OrvMailBuffer& buffer, const OrvIdentity& identity) {
    if (isSet(identity.Location, kNoLocation)) {
        addHeading(buffer, "Switch Location");
        buffer.addLabelData(orv_label::kNone, identity.Location);
    }
}

std::string contactText(const OrvIdentity& identity) {
    std::string text;
    const auto addLine = [&text](bool set, const std::string& value) {
        if (set) {
            text += value + kOrvLineEnd;
        }
    };
    addLine(isSet(identity.ContactName, kNoContact), identity.ContactName);
    addLine(isSet(identity.StreetAddress, kUndefined), identity.StreetAddress);
    addLine(isSet(identity.PhoneNumber, kUndefined), identity.PhoneNumber);
    addLine(!orvIsDefaultSender(identity.ContactEmail), identity.ContactEmail);
    return text;
}

void addContact(OrvMailBuffer& buffer, const OrvIdentity& identity) {
    const std::string text = contactText(identity);
    if (!text.empty()) {
        addHeading(buffer, "Contact Information");
        buffer.addLabelData(orv_label::kNone, text);
    }
}

// Level, Blade, ASIC, Port, vFabric, Application and Component of a log event.
void addEventDetails(OrvMailBuffer& buffer, const OrvMailSource& source, Empty empty)
    ORV_REQUIRES(source.message.lock()) {
    const LogEventData& event = *source.message.logEvent();
    buffer.addLabelData(orv_label::kLevel, orvLevelName(event.Level), empty);
    buffer.addLabelData(orv_label::kBlade, event.Blade, empty);
    buffer.addLabelData(orv_label::kAsic, event.ASIC, empty);
    buffer.addLabelData(orv_label::kPort, event.Port, empty);
    buffer.addLabelData(orv_label::kVFabric, event.VID, empty);
    buffer.addLabelData(orv_label::kApplication, event.App, empty);
    buffer.addLabelData(orv_label::kComponent, event.Components, empty);
}

void addTsc1(OrvMailBuffer& buffer, const OrvMailSource& source) ORV_REQUIRES(source.message.lock()) {
    orvAddSerialNumber(buffer, source);
    orvAddDuplicateCount(buffer, source);
    orvAddEvent(buffer, source, Empty::kForce);
    addEventDetails(buffer, source, Empty::kForce);
}

void addFullText(OrvMailBuffer& buffer, const OrvMailSource& source) ORV_REQUIRES(source.message.lock()) {
    addDuplicateLine(buffer, source.message);
    buffer.addLabelData(orv_label::kRule, "Event Details");
    orvAddEvent(buffer, source, Empty::kSkip);
    addEventDetails(buffer, source, Empty::kSkip);
    addLocation(buffer, source.identity);
    addContact(buffer, source.identity);
}

void addShortText(OrvMailBuffer& buffer, const OrvMailSource& source) ORV_REQUIRES(source.message.lock()) {
    addDuplicateLine(buffer, source.message);
    orvAddEvent(buffer, source, Empty::kSkip);
    addEventDetails(buffer, source, Empty::kSkip);
}

struct Format {
    std::string_view name;
    void (*addBody)(OrvMailBuffer&, const OrvMailSource&);
};

constexpr Format kFormats[] = {{kTsc1, addTsc1}, {"FullText", addFullText}};

}  // namespace

std::string orvMailSubject(const OrvMailSource& source) {
    const bool capture = source.message.cronCapture() != nullptr;
    const char* eventTag = source.envelope.Type == kTsc1 ? "-Event" : "";
    const char* tag = capture ? "-CronCapture" : eventTag;
    return "[CallHome" + std::string(tag) + ": " + source.envelope.ProfileName + "] " + source.envelope.Subject;
}

void orvAddMailHeader(OrvMailBuffer& buffer, const OrvMailSource& source) {
    buffer.addLabelData(orv_label::kDate, orvMailDateText(orvCalendarNow()));
    buffer.addLabelData(orv_label::kFrom, source.identity.From);
    buffer.addLabelData(orv_label::kBcc, kNoBcc);
    if (!orvIsDefaultSender(source.identity.ReplyTo)) {
        buffer.addLabelData(orv_label::kReplyTo, source.identity.ReplyTo);
    }
    buffer.addLabelData(orv_label::kSubject, orvMailSubject(source));
    if (const CronCaptureData* capture = source.message.cronCapture(); capture != nullptr) {
        buffer.addLabelData(orv_label::kMimeVersion, "1.0");
        buffer.addLabelData(orv_label::kContentType, "multipart/mixed; boundary=\"" + capture->Boundary + "\"");
    }
    // Kept: a line end as value gives two, the empty line that ends the headers and one more.
    buffer.addLabelData(orv_label::kNone, kOrvLineEnd);
}

void orvAddSerialNumber(OrvMailBuffer& buffer, const OrvMailSource& source) {
    buffer.addLabelData(orv_label::kSerialNumber, source.identity.SerialNum);
}

void orvAddDuplicateCount(OrvMailBuffer& buffer, const OrvMailSource& source) {
    buffer.addLabelData(orv_label::kDuplicateCount, std::to_string(source.message.DuplicateCount), Empty::kForce);
}

void orvAddEvent(OrvMailBuffer& buffer, const OrvMailSource& source, Empty empty) {
    buffer.addLabelData(orv_label::kSwitchName, source.identity.SymName, empty);
    buffer.addLabelData(orv_label::kSwitchIp, source.clientIdentity, empty);
    buffer.addLabelData(orv_label::kSwitchWwn, source.identity.WWN, empty);
    buffer.addLabelData(orv_label::kText, source.message.Text, empty);
    buffer.addLabelData(orv_label::kId, source.message.ID, empty);
    buffer.addLabelData(orv_label::kTime, lastTime(source.message), empty);
}

void orvAddTextBody(OrvMailBuffer& buffer, const OrvMailSource& source) {
    for (const Format& format : kFormats) {
        if (source.envelope.Type == format.name) {
            format.addBody(buffer, source);
            return;
        }
    }
    addShortText(buffer, source);
}
