// Histories run to their end and judged: one, or as many as a time allows.
#pragma once

#include "box/BoxDirectory.h"
#include "box/search/Counts.h"
#include "box/search/Options.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace box {

struct Report {
    std::uint64_t seed = 0;
    std::uint32_t lives = 0;
    std::uint32_t steps = 0;
    std::uint32_t events = 0;
    std::uint64_t mails = 0;
    std::uint64_t entries = 0;  // of the event log
    std::uint64_t calls = 0;
    std::uint64_t time = 0;  // virtual
    std::uint64_t timeline = 0;
    std::uint64_t files = 0;
    Counts happened;
    std::set<std::string> entryNames;  // of the event log
    std::string problem;               // "" when all held
    std::string faults;                // as --faults takes them, where the search has left some out

    std::string text() const;
};

// What many histories came to.
struct SearchFigures {
    Counts sums;
    std::set<std::string> entries;  // names of those that came, of the event log
    std::vector<std::string> failures;

    void add(const Report& report);
    void add(const SearchFigures& other);
    // All of them, by their names.
    Counts counts() const;

    static void fields(auto& io, auto& figures) {
        countFields(io, figures.sums);
        texts(io, figures.entries);
        texts(io, figures.failures);
    }
};

// What the search gives the history of this seed: every third one goes without failing calls and memory, for what
// those may cost is not judged where they are.
Options optionsOf(const Options& options, std::uint64_t seed);
Report runHistory(const Options& options, std::uint64_t seed, const BoxDirectory& directory);
// Runs the histories of the options, several at once, and prints those that fail and how far it is. 0, or 1 when one
// has failed.
int search(const Options& options);

}  // namespace box
