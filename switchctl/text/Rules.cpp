#include "switchctl/text/Rules.h"

#include "switchctl/text/Errors.h"
#include "switchctl/text/Suggestion.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace Rules {
namespace {

constexpr std::size_t MAX_NAME = 32;
constexpr std::size_t MAX_FORMAT = 32;
constexpr std::size_t MAX_SUBJECT = 64;
constexpr std::size_t MAX_ADDRESS = 254;
constexpr std::size_t MAX_TEXT = 1000;
const std::vector<std::string> LEVELS = {"Info", "Warn", "Critical", "Alarm", "Fault", "None"};
// A queued message keeps a recipient's state in front of the address.
constexpr std::string_view STATE_MARKS = "!#$%";
// Ends a value in a message file; a value that equals it cannot be read back.
constexpr std::string_view END_OF_VALUE = "</->";

[[noreturn]] void refuse(const std::string& what, const std::string& text, const std::string& rule) {
    throw UsageError(what + " \"" + Text::oneLine(text) + "\" cannot be used: " + rule);
}

void checkText(const std::string& what, const std::string& text, std::size_t longest) {
    if (text.size() > longest) {
        refuse(what, text,
               "it has " + std::to_string(text.size()) + " bytes; write at most " + std::to_string(longest));
    }
    if (Text::hasControls(text)) {
        refuse(what, text, "it holds a control character; write it on one line, without tabs");
    }
    if (text == END_OF_VALUE) {
        refuse(what, text, "it ends a value in the queue's files; write anything else");
    }
}

bool isAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool hasEmptyPart(std::string_view text) {
    return text.empty() || text.front() == '.' || text.back() == '.' || text.find("..") != std::string_view::npos;
}

bool isDomain(std::string_view text) {
    const bool literal = text.starts_with('[') && text.ends_with(']');
    const auto fits = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '.' || c == '_';
    };
    return literal || std::ranges::all_of(text, fits);
}

// What no mail server could take for a mailbox; "" for what one could. A name alone is one of the server's own.
std::string whyNoMailbox(std::string_view address) {
    if (!isAscii(address)) {
        return "it holds letters that SMTP does not carry";
    }
    const std::size_t at = address.rfind('@');
    const std::string_view name = address.substr(0, at);
    const bool quoted = name.size() > 2 && name.front() == '"' && name.back() == '"';
    if (!quoted && name.find('@') != std::string_view::npos) {
        return "it has more than one @";
    }
    if (!quoted && hasEmptyPart(name)) {
        return name.empty() ? "nothing stands before the @" : "a dot stands where it cannot stand";
    }
    if (at == std::string_view::npos) {
        return "";
    }
    const std::string_view domain = address.substr(at + 1);
    if (domain.empty()) {
        return "nothing stands behind the @";
    }
    if (hasEmptyPart(domain)) {
        return "a dot stands where it cannot stand";
    }
    return isDomain(domain) ? "" : "what stands behind the @ is no host";
}

void checkAddress(const std::string& what, const std::string& address) {
    if (address.empty()) {
        refuse(what, address, "it is empty; write it like operator@example.com");
    }
    checkText(what, address, MAX_ADDRESS);
    if (address.find_first_of(" <>,;") != std::string::npos) {
        refuse(what, address,
               "blanks, brackets, commas and semicolons are not taken; write it like operator@example.com");
    }
    if (STATE_MARKS.find(address.front()) != std::string_view::npos) {
        refuse(what, address,
               "it begins with a mark that the queue keeps there, ! # $ or %; write it like operator@example.com");
    }
    if (const std::string why = whyNoMailbox(address); !why.empty()) {
        refuse(what, address, why + "; write it like operator@example.com");
    }
}

}  // namespace

void profileName(const std::string& name) {
    if (name.empty()) {
        refuse("the profile name", name, "it is empty; write it like Operators");
    }
    checkText("the profile name", name, MAX_NAME);
    if (name.front() == ' ' || name.back() == ' ') {
        refuse("the profile name", name, "it begins or ends with a blank; write it like Operators");
    }
}

std::string level(const std::string& name) {
    std::string known = Suggestion::inAnyCase(name, LEVELS);
    if (known.empty()) {
        refuse("the level", name,
               "there is none of this name; write Info, Warn, Critical, Alarm, Fault or None" +
                   Suggestion::didYouMean(name, LEVELS));
    }
    return known;
}

const std::vector<std::string>& formats() {
    static const std::vector<std::string> all = {"FullText", "Tsc1"};
    return all;
}

std::string format(const std::string& name) {
    if (name.empty()) {
        refuse("the format", name, "it is empty; write FullText, Tsc1, or any other word for the short form");
    }
    checkText("the format", name, MAX_FORMAT);
    const std::string known = Suggestion::inAnyCase(name, formats());
    return known.empty() ? name : known;
}

void subject(const std::string& text) {
    checkText("the subject", text, MAX_SUBJECT);
}

void emails(const std::vector<std::string>& addresses) {
    if (addresses.size() > MAX_EMAILS) {
        throw UsageError(std::to_string(addresses.size()) +
                         " addresses are too many; write at most 10, the others in another profile");
    }
    for (const std::string& address : addresses) {
        checkAddress("the address", address);
    }
}

void sender(const std::string& option, const std::string& address) {
    checkAddress(option, address);
}

void identity(const std::string& option, const std::string& text) {
    if (text.find_first_of("\r\n") != std::string::npos) {
        refuse(option, text, "it holds a line break, and a mail has one line for it; write it on one line");
    }
    if (text == ".") {
        refuse(option, text, "a line of a single dot ends a mail on its way; write anything else");
    }
    checkText(option, text, MAX_TEXT);
}

}  // namespace Rules
