// The daemon and the model led through the same random histories, several at once.
#pragma once

#include "box/search/Counts.h"
#include "box/search/Options.h"

#include <cstdint>
#include <string>
#include <vector>

namespace box {

struct CompareFigures {
    std::uint64_t histories = 0;
    std::uint64_t whole = 0;     // of these: compared to their end
    std::uint64_t compared = 0;  // places
    std::uint64_t mails = 0;
    std::uint64_t seconds = 0;  // virtual
    std::vector<std::string> failures;

    void add(const CompareFigures& other);
    // All of them, by their names.
    Counts counts() const;

    static void fields(auto& io, auto& figures) {
        io(figures.histories, figures.whole, figures.compared, figures.mails, figures.seconds);
        texts(io, figures.failures);
    }
    // A line that a person can read, and one for each failure.
    std::string text() const;
};

CompareFigures compareHistory(std::uint64_t seed, std::uint32_t steps);
// Runs what the options ask for and prints the figures. 0, or 1 when daemon and model have differed.
int searchDifferences(const Options& options);

}  // namespace box
