#include "switchctl/commands/Explanations.h"

#include "catalogue/OrvEventCatalogue.h"
#include "mesg/OrvMesgNumbers.h"
#include "switchctl/client/Management.h"
#include "switchctl/queue/QueueRows.h"
#include "switchctl/status/Problems.h"
#include "switchctl/text/Text.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <optional>
#include <string_view>

namespace {

using Explanations = std::vector<Explanation>;

struct KnownReply {
    std::string_view code;
    const char* text;
    const char* remedy;
};

constexpr KnownReply REPLIES[] = {
#define REPLY(code, text, remedy) {code, text, remedy},
#define ENHANCED(detail, text)
#include "switchctl/commands/Replies.inc"
#undef ENHANCED
#undef REPLY
};

struct KnownDetail {
    std::string_view detail;
    const char* text;
};

constexpr KnownDetail DETAILS[] = {
#define REPLY(code, text, remedy)
#define ENHANCED(detail, text) {detail, text},
#include "switchctl/commands/Replies.inc"
#undef ENHANCED
#undef REPLY
};

struct KnownWord {
    const char* kind;
    const char* name;
    const char* text;
};

constexpr KnownWord WORDS[] = {
    {"level", "Info", "an event's level; the least. A profile of this level gets events of every level but None"},
    {"level", "Warn", "an event's level. A profile of this level gets Warn, Critical, Alarm and Fault"},
    {"level", "Critical", "an event's level. A profile of this level gets Critical, Alarm and Fault"},
    {"level", "Alarm", "an event's level. A profile of this level gets Alarm and Fault"},
    {"level", "Fault", "an event's level; the worst. A profile of this level gets nothing else"},
    {"level", "None", "no level: a profile of this level gets tests and its captures alone"},
    {"level", "0", "of the event log: an alarm, for operators"},
    {"level", "2", "of the event log: critical, for operators"},
    {"level", "3", "of the event log: a warning, for operators"},
    {"level", "15", "of the event log: an internal error of orvApp"},
    {"level", "16", "of the event log: about captures and about restoring the queue at a start"},
    {"level", "17", "of the event log: a detail, mostly of reading the configuration"},
    {"level", "31", "of the event log: a note"},
    {"fault", "refuse", "switchctl fault add: the request is not done; status -1, no value"},
    {"fault", "bad-status", "switchctl fault add: it is done; the answer has another status"},
    {"fault", "delay", "switchctl fault add: the answer leaves later"},
    {"fault", "hold", "switchctl fault add: the answer waits for switchctl fault release"},
    {"fault", "drop-entry", "switchctl fault add: the attribute is left out of a bulk answer"},
    {"fault", "corrupt", "switchctl fault add: the answer is cut so that it cannot be read"},
    {"fault", "silent", "switchctl fault add: there is no answer"},
};

constexpr std::string_view DIGITS = "0123456789";

bool isSame(const std::string& one, const char* other) {
    return strcasecmp(one.c_str(), other) == 0;
}

Explanation ofRow(const OrvCatalogueRow& row) {
    char number[16];
    std::snprintf(number, sizeof number, "0x%08x", unsigned{row.id});
    const std::string remedy = row.remedy == std::string_view("None.") ? "" : row.remedy;
    return {"event log", std::string(number) + " level " + std::to_string(row.level),
            Text::oneLine(row.text) + ": " + row.cause, remedy};
}

// "0x8b000013", "8b000013", "17/0x8b000013".
std::optional<std::uint32_t> entryNumber(const std::string& word) {
    const std::string last = word.substr(word.find('/') + 1);
    const bool bare = last.size() == 8 && last.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    if (!bare && !last.starts_with("0x") && !last.starts_with("0X")) {
        return std::nullopt;
    }
    const auto number = Text::number(bare ? "0x" + last : last, 0, UINT32_MAX);
    return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

// An entry as it stands in the log is of one row.
bool holdsText(const OrvCatalogueRow& row, const std::string& word) {
    constexpr std::size_t SHORTEST = 6;
    const std::string_view text = row.text;
    const auto found =
        std::search(text.begin(), text.end(), word.begin(), word.end(),
                    [](unsigned char one, unsigned char other) { return std::tolower(one) == std::tolower(other); });
    return word.size() >= SHORTEST && (found != text.end() || orvFindInCatalogue(row.level, row.id, word));
}

void addEntries(const std::string& word, Explanations& found) {
    const auto number = entryNumber(word);
    for (const OrvCatalogueRow& row : orvCatalogue()) {
        const bool byText = holdsText(row, word) && (!orvFindInCatalogue(row.level, row.id, word) ||
                                                     &orvFindInCatalogue(row.level, row.id, word)->row == &row);
        if ((number && row.id == *number) || byText) {
            found.push_back(ofRow(row));
        }
    }
}

const char* className(char first) {
    switch (first) {
        case '2':
            return "accepted";
        case '3':
            return "go on";
        case '4':
            return "refused for the time being: orvApp tries a recipient once more, at once, and any other mail after "
                   "a wait";
        default:
            return "refused for good: orvApp gives a recipient up, and tries any other mail again until it is too old";
    }
}

bool isCode(std::string_view text) {
    return text.size() == 3 && text.find_first_not_of(DIGITS) == std::string_view::npos && text.front() >= '2' &&
           text.front() <= '5';
}

// "5.1.1".
bool isEnhanced(const std::string& text) {
    const auto parts = Text::split(text, '.');
    return parts.size() == 3 && (parts[0] == "2" || parts[0] == "4" || parts[0] == "5") &&
           std::ranges::all_of(parts, [](const std::string& part) {
               return !part.empty() && part.size() <= 3 && part.find_first_not_of(DIGITS) == std::string::npos;
           });
}

void addReply(const std::string& code, Explanations& found) {
    const auto* const known = std::ranges::find(REPLIES, code, &KnownReply::code);
    const bool isKnown = known != std::ranges::end(REPLIES);
    found.push_back({"reply", code, (isKnown ? known->text + std::string("; ") : "") + className(code.front()),
                     isKnown ? known->remedy : ""});
}

void addEnhanced(const std::string& status, Explanations& found) {
    const auto* const known = std::ranges::find(DETAILS, status.substr(2), &KnownDetail::detail);
    found.push_back(
        {"enhanced status", status,
         (known != std::ranges::end(DETAILS) ? known->text : std::string("a detail that is not known here")) + "; " +
             className(status.front()),
         ""});
}

// "550", "550 5.1.1", "550-5.1.1 no such user".
void addReplies(const std::string& word, Explanations& found) {
    const std::string code = word.substr(0, 3);
    const bool ends = word.size() <= 3 || word[3] == ' ' || word[3] == '-';
    if (isCode(code) && ends) {
        addReply(code, found);
    }
    const std::size_t begin = isCode(code) && ends && word.size() > 4 ? 4 : 0;
    const std::string status = word.substr(begin, word.find(' ', begin) - begin);
    if (isEnhanced(status)) {
        addEnhanced(status, found);
    }
}

void addStatus(const std::string& word, Explanations& found) {
    const auto status = Text::number(word, 0, UINT32_MAX);
    constexpr std::int64_t LAST = 7;
    if (status && *status <= LAST && word.size() == 1) {
        found.push_back({"response status", word,
                         *status == 0 ? "done" : Management::meaningOf(static_cast<std::uint32_t>(*status)), ""});
    }
}

void addMark(const std::string& word, Explanations& found) {
    if (word.size() == 1 && OrvCHEnvelope::markOf(word) != OrvCHEnvelope::kNoMark) {
        found.push_back({"mark", word, "in front of a recipient: " + recipientWords(word.front()), ""});
    }
}

// Dots stand for what is filled in.
std::string withDots(std::string text) {
    for (std::size_t place = text.find("{}"); place != std::string::npos; place = text.find("{}")) {
        text.replace(place, 2, "...");
    }
    return text;
}

void addProblems(const std::string& word, Explanations& found) {
    for (const ProblemRow& row : knownProblems()) {
        if (isSame(word, row.kind.id)) {
            found.push_back({"problem", row.kind.id,
                             withDots(row.kind.text) + " (" + nameOf(row.kind.state) + "): " + row.kind.page,
                             withDots(row.kind.remedy)});
        }
    }
}

}  // namespace

std::vector<Explanation> explanationsOf(const std::string& word) {
    Explanations found;
    addEntries(word, found);
    addReplies(word, found);
    addStatus(word, found);
    addMark(word, found);
    addProblems(word, found);
    for (const KnownWord& known : WORDS) {
        if (isSame(word, known.name)) {
            found.push_back({known.kind, known.name, known.text, ""});
        }
    }
    return found;
}
