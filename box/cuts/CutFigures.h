// What became of the states that power cuts may leave.
#pragma once

#include "box/search/Counts.h"

#include <cstdint>
#include <string>
#include <vector>

namespace box {

struct CutFigures {
    std::uint64_t records = 0;
    std::uint64_t operations = 0;
    std::uint64_t states = 0;
    std::uint64_t distinct = 0;  // of the states of a record: each of these was started from
    std::uint64_t mails = 0;     // that the daemon owed at the cuts, summed over the states
    // Mails by what was damaged.
    Counts lost;
    Counts doubled;
    Counts mixed;  // of two states of their own message
    std::vector<std::string> failures;

    void add(const CutFigures& other);
    // All of them, by their names.
    Counts counts() const;
    // Lines that a person can read.
    std::string text() const;

    static void fields(auto& io, auto& figures) {
        io(figures.records, figures.operations, figures.states, figures.distinct, figures.mails);
        countFields(io, figures.lost);
        countFields(io, figures.doubled);
        countFields(io, figures.mixed);
        texts(io, figures.failures);
    }
};

}  // namespace box
