// How often things happened, by what they are called: kept by many runs, added up, written to a file.
#pragma once

#include "box/StateFields.h"

#include <cstdint>
#include <map>
#include <string>

namespace box {

using Counts = std::map<std::string, std::uint64_t>;

std::uint64_t countOf(const Counts& counts, const std::string& name);
std::uint64_t sumOf(const Counts& counts);
void addCounts(Counts& counts, const Counts& others);
// Their fields, to be written or read.
void countFields(auto& io, auto& counts) {
    items(io, counts, [](auto& each, auto& count) {
        each.text32(count.first);
        each(count.second);
    });
}

// A line each: the count, a tab, the name. Throws a text (std::runtime_error) when the file cannot be written.
void writeCounts(const std::string& path, const Counts& counts);

}  // namespace box
