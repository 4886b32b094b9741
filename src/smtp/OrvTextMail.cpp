#include "smtp/OrvTextMail.h"

#include "mesg/OrvCHMesg.h"
#include "profile/OrvCHMesgCommon.h"
#include "smtp/OrvLineEnd.h"
#include "smtp/OrvMailLines.h"

namespace {

using Empty = OrvMailBuffer::Empty;

constexpr char kNoLocation[] = "<sysLocation undefined>";
constexpr char kNoContact[] = "<sysContact undefined>";
constexpr char kUndefined[] = "<undefined>";

bool isSet(const std::string& value, const char* marker) {
    return !value.empty() && value != marker;
}

void addHeading(OrvMailBuffer& buffer, std::string_view heading) {
    buffer.addLabelData(OrvMailLabel::kNone, kOrvLineEnd);
    buffer.addLabelData(OrvMailLabel::kRule, heading);
}

void addDuplicateLine(OrvMailBuffer& buffer, const OrvCHMesg& message) {
    if (message.DuplicateCount <= 0) {
        return;
    }
    std::string text = "Message is a duplicate";
    if (message.DuplicateCount != 1) {
        text += ": last of " + std::to_string(message.DuplicateCount) + " repeated messages...";
    }
    buffer.addLabelData(OrvMailLabel::kRule, text);
}

void addLocation(OrvMailBuffer& buffer, const OrvIdentity& identity) {
    if (isSet(identity.Location, kNoLocation)) {
        addHeading(buffer, "Switch Location");
        buffer.addLabelData(OrvMailLabel::kNone, identity.Location);
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
        buffer.addLabelData(OrvMailLabel::kNone, text);
    }
}

void addTsc1(OrvMailBuffer& buffer, const OrvMailSource& source) {
    orvAddSerialNumber(buffer, source);
    orvAddDuplicateCount(buffer, source);
    orvAddEvent(buffer, source, Empty::kForce);
    orvAddEventDetails(buffer, source, Empty::kForce);
}

void addFullText(OrvMailBuffer& buffer, const OrvMailSource& source) {
    addDuplicateLine(buffer, source.message);
    buffer.addLabelData(OrvMailLabel::kRule, "Event Details");
    orvAddEvent(buffer, source, Empty::kSkip);
    orvAddEventDetails(buffer, source, Empty::kSkip);
    addLocation(buffer, source.identity);
    addContact(buffer, source.identity);
}

void addShortText(OrvMailBuffer& buffer, const OrvMailSource& source) {
    addDuplicateLine(buffer, source.message);
    orvAddEvent(buffer, source, Empty::kSkip);
    orvAddEventDetails(buffer, source, Empty::kSkip);
}

struct Format {
    std::string_view name;
    void (*addBody)(OrvMailBuffer&, const OrvMailSource&);
};

constexpr Format kFormats[] = {{kOrvFormatTsc1, addTsc1}, {"FullText", addFullText}};

}  // namespace

void orvAddTextBody(OrvMailBuffer& buffer, const OrvMailSource& source) {
    for (const Format& format : kFormats) {
        if (source.envelope.Type == format.name) {
            format.addBody(buffer, source);
            return;
        }
    }
    addShortText(buffer, source);
}
