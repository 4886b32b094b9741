#include "switchctl/text/Rules.h"

#include "switchctl/text/Errors.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace Rules {
namespace {

constexpr std::size_t MAX_NAME = 32;
constexpr std::size_t MAX_FORMAT = 32;
constexpr std::size_t MAX_SUBJECT = 64;
constexpr std::size_t MAX_ADDRESS = 254;
constexpr std::size_t MAX_TEXT = 1000;
constexpr std::array<std::string_view, 6> LEVELS = {"Info", "Warn", "Critical", "Alarm", "Fault", "None"};
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

void level(const std::string& name) {
    if (std::ranges::find(LEVELS, name) == LEVELS.end()) {
        refuse("the level", name, "there is none of this name; write Info, Warn, Critical, Alarm, Fault or None");
    }
}

void format(const std::string& name) {
    if (name.empty()) {
        refuse("the format", name, "it is empty; write FullText, Tsc1, or any other word for the short form");
    }
    checkText("the format", name, MAX_FORMAT);
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
    checkText(option, text, MAX_TEXT);
}

}  // namespace Rules
