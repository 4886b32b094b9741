#include "switchctl/status/Problems.h"

#include "switchctl/text/Text.h"

namespace {

constexpr std::array STATE_NAMES = {"notice", "failing", "blocked", "down"};

struct Line {
    const char* title;  // null for a row
    ProblemKind kind;
};

constexpr Line LINES[] = {
#define SECTION(title) {title, {}},
#define PROBLEM(name, id, state, cause, text, remedy, page) \
    {nullptr, {id, ProblemState::state, cause, text, remedy, page}},
#include "switchctl/status/ProblemEntries.inc"
#undef PROBLEM
#undef SECTION
};

std::vector<ProblemRow> withSections() {
    std::vector<ProblemRow> rows;
    const char* section = "";
    for (const Line& line : LINES) {
        if (line.title != nullptr) {
            section = line.title;
        } else {
            rows.push_back({section, line.kind});
        }
    }
    return rows;
}

// Takes what it fills in from the front of the arguments.
std::string fill(std::string_view text, std::span<const std::string>& arguments) {
    std::string result;
    for (std::size_t place = text.find("{}"); place != std::string_view::npos && !arguments.empty();
         place = text.find("{}")) {
        result += std::string(text.substr(0, place)) + arguments.front();
        arguments = arguments.subspan(1);
        text.remove_prefix(place + 2);
    }
    return result + std::string(text);
}

// With dots where something is filled in.
std::string shown(const char* text) {
    const std::vector<std::string> dots(placesIn(text), "...");
    std::span<const std::string> arguments = dots;
    return fill(text, arguments);
}

std::string pageOf(const ProblemKind& kind) {
    return std::string("### ") + kind.id + "\n\n`" + shown(kind.text) + "` (" + nameOf(kind.state) + ")\n\n" +
           Text::folded(kind.page, 120, "") + "\nMend it: `" + shown(kind.remedy) + "`\n";
}

constexpr const char* INTRODUCTION =
    "# Troubleshooting\n\n"
    "Every problem that `switchctl status` and `switchctl doctor` know, in the order in which one would mend them: "
    "its\n"
    "id, which `--json` has too, what they say, what it means, and the remedy. Dots stand for what is filled in. Made "
    "from the catalogue\n"
    "of problems, `switchctl/status/ProblemEntries.inc`, and compared with it by a test\n"
    "(`ORV_WRITE_PAGES=1 build/dev/bin/switchctl_unit_test` makes it anew).\n\n"
    "| state | what it means | exit status |\n"
    "|---|---|---|\n"
    "| notice | nobody has to do anything | 0 |\n"
    "| failing | mails leave; a person is needed all the same | 1 |\n"
    "| blocked | a mail that is handed over now does not leave | 1 |\n"
    "| down | the daemon is not there, or does not answer | 1, or 3 where it does not answer |\n";

}  // namespace

const char* nameOf(ProblemState state) {
    return STATE_NAMES[static_cast<std::size_t>(state)];
}

StatusProblem filled(const ProblemKind& kind, std::span<const std::string> arguments) {
    const std::string text = fill(kind.text, arguments);
    return {kind.id, kind.state, kind.cause, Text::oneLine(text), Text::oneLine(fill(kind.remedy, arguments))};
}

std::span<const ProblemRow> knownProblems() {
    static const std::vector<ProblemRow> rows = withSections();
    return rows;
}

std::string troubleshootingPage() {
    std::string page = INTRODUCTION;
    const char* section = "";
    for (const ProblemRow& row : knownProblems()) {
        if (row.section != section) {
            section = row.section;
            page += std::string("\n## ") + section + "\n";
        }
        page += "\n" + pageOf(row.kind);
    }
    return page;
}
