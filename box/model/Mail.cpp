#include "box/model/Mail.h"

namespace model {
namespace {

const std::string kLineEnd = "\r\n";

// A mail that never outgrows its limit: the line that does not fit fills it with blanks instead.
class Sheet {
public:
    explicit Sheet(std::uint32_t limit) : limit_(limit) {}

    void line(const std::string& label, const std::string& value, bool always = false) {
        if (text_.size() >= limit_ || (value.empty() && !always)) {
            return;
        }
        if (text_.size() + label.size() + value.size() + 2 < limit_) {
            text_ += label + value + kLineEnd;
        } else {
            text_.resize(limit_, ' ');
        }
    }
    // Label and colon take sixteen columns.
    void detail(std::string label, const std::string& value, bool always = false) {
        label += ":";
        label.resize(16, ' ');
        line(label, value, always);
    }
    void heading(const std::string& value) { line("------------    ", value); }
    const std::string& text() const { return text_; }

private:
    const std::size_t limit_;
    std::string text_;
};

bool given(const std::string& value, const char* undefined) {
    return !value.empty() && value != undefined;
}

void addHeader(Sheet& sheet, const Envelope& envelope, const Identity& identity, const Now& now) {
    sheet.line("Date: ", mailTime(now));
    sheet.line("From: ", identity.from);
    sheet.line("Bcc: ", " ");
    if (given(identity.replyTo, kUndefined)) {
        sheet.line("Reply-To: ", identity.replyTo);
    }
    const std::string kind = envelope.format == "Tsc1" ? "-Event" : "";
    sheet.line("Subject: ", "[CallHome" + kind + ": " + envelope.profile + "] " + envelope.subject);
    sheet.line("", kLineEnd);
}

void addRepeats(Sheet& sheet, std::uint32_t repeats) {
    if (std::int32_t(repeats) > 0) {
        sheet.heading("Message is a duplicate" +
                      (repeats == 1 ? "" : ": last of " + std::to_string(repeats) + " repeated messages..."));
    }
}

void addEvent(Sheet& sheet, const Message& message, const Identity& identity, const std::string& switchAddress,
              bool always) {
    sheet.detail("SwitchName", identity.name, always);
    sheet.detail("SwitchIP", switchAddress, always);
    sheet.detail("SwitchWWN", identity.wwn, always);
    sheet.detail("Text", message.text, always);
    sheet.detail("ID", message.id, always);
    sheet.detail("Time", std::int32_t(message.duplicates) < 1 ? message.time : message.lastDuplicate, always);
    sheet.detail("Level", levelName(message.level), always);
    sheet.detail("Blade", message.blade, always);
    sheet.detail("ASIC", message.asic, always);
    sheet.detail("Port", message.port, always);
    sheet.detail("vFabric", message.fabric, always);
    sheet.detail("Application", message.application, always);
    sheet.detail("Component", message.component, always);
}

void addPlaceAndContact(Sheet& sheet, const Identity& identity) {
    if (given(identity.location, "<sysLocation undefined>")) {
        sheet.line("", kLineEnd);
        sheet.heading("Switch Location");
        sheet.line("", identity.location);
    }
    std::string contact;
    contact += given(identity.contactName, "<sysContact undefined>") ? identity.contactName + kLineEnd : "";
    contact += given(identity.street, kUndefined) ? identity.street + kLineEnd : "";
    contact += given(identity.phone, kUndefined) ? identity.phone + kLineEnd : "";
    contact += given(identity.contactEmail, kUndefined) ? identity.contactEmail + kLineEnd : "";
    if (!contact.empty()) {
        sheet.line("", kLineEnd);
        sheet.heading("Contact Information");
        sheet.line("", contact);
    }
}

}  // namespace

std::string mailText(const Message& message, const Envelope& envelope, const Identity& identity,
                     const std::string& switchAddress, const Now& now) {
    Sheet sheet(envelope.maxSize);
    addHeader(sheet, envelope, identity, now);
    if (envelope.format == "Tsc1") {
        sheet.detail("SN", identity.serial);
        sheet.line("DuplicateCount: ", std::to_string(std::int32_t(message.duplicates)), true);
        addEvent(sheet, message, identity, switchAddress, true);
        return sheet.text();
    }
    addRepeats(sheet, message.duplicates);
    if (envelope.format == "FullText") {
        sheet.heading("Event Details");
    }
    addEvent(sheet, message, identity, switchAddress, false);
    if (envelope.format == "FullText") {
        addPlaceAndContact(sheet, identity);
    }
    return sheet.text();
}

}  // namespace model
