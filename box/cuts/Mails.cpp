#include "box/cuts/Mails.h"

#include <sstream>
#include <string_view>

namespace box {

namespace {

constexpr std::string_view kText = "Text:           ";
constexpr std::string_view kTextTag = "\n<Text>\n";
constexpr char kRepeats[] = "------------    Message is a duplicate";
constexpr char kTime[] = "Time:";
constexpr char kSubject[] = "Subject:";

struct Parts {
    std::string text;  // without what may differ
    std::string times;
    std::string subject;
    bool repeats = false;
};

Parts partsOf(const Mail& mail) {
    Parts parts;
    std::istringstream lines(mail.text);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(kRepeats)) {
            parts.repeats = true;
        } else if (line.starts_with(kTime)) {
            parts.times += line;
        } else if (!line.starts_with("Date:")) {
            parts.subject = line.starts_with(kSubject) ? line : parts.subject;
            parts.text += line + "\n";
        }
    }
    return parts;
}

// What stands behind a mark, up to the line's end.
std::string lineBehind(std::string_view text, std::string_view mark) {
    const std::size_t at = text.find(mark);
    const std::string_view rest = at == std::string_view::npos ? "" : text.substr(at + mark.size());
    return std::string(rest.substr(0, rest.find_first_of("\r\n")));
}

std::string nameOf(const Mail& mail, const Parts& parts) {
    return eventIn(mail) + " " + parts.subject;
}

}  // namespace

std::string eventIn(const Mail& mail) {
    return lineBehind(mail.text, "\n" + std::string(kText));
}

std::string eventIn(const std::string& entry) {
    return lineBehind(entry, kTextTag);
}

std::string keyOf(const Mail& mail) {
    const Parts parts = partsOf(mail);
    return eventIn(mail) + (parts.repeats ? "\nagain, " : "\n") + parts.subject;
}

std::string KnownMails::add(const Mail& mail) {
    const Parts parts = partsOf(mail);
    texts_.emplace(nameOf(mail, parts), parts.text);
    times_.insert(parts.times);
    recipients_.insert(mail.to.begin(), mail.to.end());
    return eventIn(mail).empty() ? "a mail of no event:\n" + mail.text : problemOf(mail);
}

std::string KnownMails::problemOf(const Mail& mail) const {
    const Parts parts = partsOf(mail);
    for (const std::string& recipient : mail.to) {
        if (recipients_.count(recipient) == 0) {
            return "a mail to " + recipient + ", who is no recipient";
        }
    }
    const auto known = texts_.find(nameOf(mail, parts));
    if (known == texts_.end() || known->second != parts.text) {
        return "a mail that reads differently:\n" + mail.text;
    }
    return times_.count(parts.times) == 0 ? "a mail of a time at which nothing was: " + parts.times : "";
}

}  // namespace box
