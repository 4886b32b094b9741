#include "catalogue/OrvEventCatalogue.h"

#include "catalogue/OrvLogEntries.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace {

struct Line {
    const char* title;  // null for a row
    OrvCatalogueRow row;
};

constexpr Line kLines[] = {
#define SECTION(title) Line{title, {}},
#define ENTRY(name, level, number, types, text, since, cause, remedy) \
    Line{nullptr, {#name, nullptr, false, level, number, text, since, cause, remedy}},
#define ALARM(name, level, number, types, text, since, cause, remedy) \
    Line{nullptr, {#name, nullptr, true, level, number, text, since, cause, remedy}},
#include "catalogue/OrvLogEntries.inc"
#undef ALARM
#undef ENTRY
#undef SECTION
};

std::vector<OrvCatalogueRow> withSections() {
    std::vector<OrvCatalogueRow> rows;
    const char* section = "";
    for (const Line& line : kLines) {
        if (line.title != nullptr) {
            section = line.title;
        } else {
            rows.push_back(line.row);
            rows.back().section = section;
        }
    }
    return rows;
}

// How many bytes at the start of text a number can take; for a text all lengths come into question.
std::size_t numberLength(char letter, std::string_view text) {
    std::size_t length = letter == 'd' && text.starts_with('-') ? 1 : 0;
    if (letter == 'x' && text.starts_with("0x")) {
        length = 2;
    }
    const std::size_t sign = length;
    while (length < text.size() && (letter == 'x' ? std::isxdigit(static_cast<unsigned char>(text[length]))
                                                  : std::isdigit(static_cast<unsigned char>(text[length])))) {
        ++length;
    }
    return length > sign ? length : 0;
}

// Holds text against a format from where both stand. Formats are short, and so are the ways to try.
bool matches(const char* format, std::string_view text, bool cut, std::vector<std::string>& arguments) {
    while (*format != '\0' && *format != '%') {
        if (text.empty()) {
            return cut;
        }
        if (*format++ != text.front()) {
            return false;
        }
        text.remove_prefix(1);
    }
    if (*format == '\0') {
        return text.empty();
    }
    const char* const letter = orvConversionLetter(format);
    const std::size_t number = *letter == 's' ? 0 : numberLength(*letter, text);
    if (*letter != 's' && number == 0) {
        return cut && text.empty();
    }
    const std::size_t first = *letter == 's' ? 0 : number;
    const std::size_t last = *letter == 's' ? text.size() : number;
    for (std::size_t length = first; length <= last; ++length) {
        arguments.emplace_back(text.substr(0, length));
        if (matches(letter + 1, text.substr(length), cut, arguments)) {
            return true;
        }
        arguments.pop_back();
    }
    return false;
}

std::string inTable(std::string text) {
    for (const auto& [from, to] : {std::pair<std::string_view, std::string_view>{"\n", "\\n"}, {"|", "\\|"}}) {
        for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
            text.replace(at, from.size(), to);
        }
    }
    return text;
}

const char* levelName(const OrvCatalogueRow& row) {
    switch (row.level) {
        case 0:
            return "alarm";
        case kOrvLogCritical:
            return "critical";
        case kOrvLogWarning:
            return "warning";
        case kOrvLogInternal:
            return "internal error";
        case kOrvLogTask:
            return row.alarm ? "alarm" : "capture or restore";
        case kOrvLogDetail:
            return "detail";
        default:
            return "note";
    }
}

std::string numberOf(const OrvCatalogueRow& row) {
    char number[16];
    static_cast<void>(std::snprintf(number, sizeof number, row.id == 0 ? "%x" : "0x%08x", row.id));
    return number;
}

constexpr char kTableHead[] =
    "| number | level | text | what it means | what to do | since |\n"
    "|---|---|---|---|---|---|\n";

constexpr char kPageStart[] = R"(# The event log

What the daemon writes to the switch's event log, and what to do about it. `switchctl log` shows the log. Made from the
catalogue in the daemon's sources, `src/catalogue/OrvLogEntries.inc`, and compared with it by a test
(`ORV_WRITE_PAGES=1 build/dev/bin/orv_catalogue_test` makes it anew).

Where a text has `%s`, a name, an address or a reason is filled in; numbers stand for `%d`, `%u` and `%x`. An entry whose number
is 0x8b000001 has none of its own. Levels 2 and 3 are for operators.
)";

}  // namespace

std::span<const OrvCatalogueRow> orvCatalogue() {
    static const std::vector<OrvCatalogueRow> rows = withSections();
    return rows;
}

bool OrvCatalogueMatch::is(const OrvLogKind& kind) const {
    return row.level == kind.level && row.id == kind.id && std::string_view(row.text) == kind.text;
}

std::optional<OrvCatalogueMatch> orvFindInCatalogue(int level, std::uint32_t id, std::string_view text) {
    for (const bool cut : {false, true}) {
        if (cut && text.size() < kOrvCutEntry) {
            continue;
        }
        for (const OrvCatalogueRow& row : orvCatalogue()) {
            std::vector<std::string> arguments;
            // A row that begins with a place would take everything that was cut.
            const bool decides = !cut || row.text[0] != '%';
            if (row.level == level && row.id == id && decides && matches(row.text, text, cut, arguments)) {
                return OrvCatalogueMatch{row, std::move(arguments)};
            }
        }
    }
    return std::nullopt;
}

std::optional<OrvCatalogueMatch> orvRecognise(int level, std::uint32_t id, std::string_view text) {
    auto found = orvFindInCatalogue(level, id, text);
    if (found || id == kOrvLogId || id == 0) {
        return found;
    }
    const auto rows = orvCatalogue();
    const auto row = std::ranges::find(rows, id, &OrvCatalogueRow::id);
    return row == rows.end() ? std::nullopt : std::optional<OrvCatalogueMatch>({*row, {}});
}

std::string orvEventLogPage() {
    std::string page = kPageStart;
    std::string_view section;
    for (const OrvCatalogueRow& row : orvCatalogue()) {
        if (row.section != section) {
            section = row.section;
            page += "\n## " + std::string(section) + "\n\n" + kTableHead;
        }
        for (const std::string& cell : {numberOf(row), std::to_string(row.level) + " " + levelName(row),
                                        "`" + inTable(row.text) + "`", inTable(row.cause), inTable(row.remedy)}) {
            page += "| " + cell + " ";
        }
        page += "| " + std::string(row.since) + " |\n";
    }
    return page;
}
