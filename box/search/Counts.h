// How often things happened, by what they are called: kept by many runs, added up, written to a file.
#pragma once

#include <cstdint>
#include <map>
#include <string>

class WireReader;
class WireWriter;

namespace box {

using Counts = std::map<std::string, std::uint64_t>;

std::uint64_t countOf(const Counts& counts, const std::string& name);
std::uint64_t sumOf(const Counts& counts);
void addCounts(Counts& counts, const Counts& others);
void encodeCounts(WireWriter& out, const Counts& counts);
Counts decodeCounts(WireReader& in);

// A line each: the count, a tab, the name. Throws a text (std::runtime_error) when the file cannot be written.
void writeCounts(const std::string& path, const Counts& counts);

}  // namespace box
