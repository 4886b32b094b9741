// What can be wrong with CallHome: the kinds of problems, as constants (problem::kNoSender and so on), with a row each
// in ProblemEntries.inc, and one that was found.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// From the least to the worst.
enum class ProblemState { NOTICE, FAILING, BLOCKED, DOWN };
// As programs know it: "notice", "failing", "blocked", "down".
const char* nameOf(ProblemState state);

struct ProblemKind {
    const char* id;
    ProblemState state;
    const char* cause;  // one word, for programs
    const char* text;
    const char* remedy;
    const char* page;  // what it means, for docs/troubleshooting.md
};

// One that was found.
struct StatusProblem {
    std::string id;
    ProblemState state = ProblemState::FAILING;
    std::string cause;
    std::string text;
    std::string remedy;  // a command, or what to do
};
using StatusProblems = std::vector<StatusProblem>;

// The texts with what stands in the places of {}, each on one line.
StatusProblem filled(const ProblemKind& kind, std::span<const std::string> arguments);

// A kind with so many places to be filled in.
template <std::size_t PLACES>
struct KnownProblem : ProblemKind {
    StatusProblem operator()(const auto&... arguments) const {
        static_assert(sizeof...(arguments) == PLACES);
        const std::array<std::string, PLACES> texts{std::string(arguments)...};
        return filled(*this, texts);
    }
};

constexpr std::size_t placesIn(std::string_view text) {
    std::size_t places = 0;
    for (std::size_t at = text.find("{}"); at != std::string_view::npos; at = text.find("{}", at + 2)) {
        ++places;
    }
    return places;
}

namespace problem {

#define SECTION(title)
#define PROBLEM(name, id, state, cause, text, remedy, page) \
    inline constexpr auto name =                            \
        KnownProblem<placesIn(text) + placesIn(remedy)>{{id, ProblemState::state, cause, text, remedy, page}};
#include "switchctl/status/ProblemEntries.inc"
#undef PROBLEM
#undef SECTION

}  // namespace problem

// The whole table.
struct ProblemRow {
    const char* section;
    ProblemKind kind;
};
std::span<const ProblemRow> knownProblems();
// docs/troubleshooting.md as it ought to be.
std::string troubleshootingPage();
