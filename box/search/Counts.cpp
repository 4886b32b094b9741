#include "box/search/Counts.h"

#include "box/World.h"

#include <fstream>
#include <numeric>
#include <stdexcept>

namespace box {

std::uint64_t countOf(const Counts& counts, const std::string& name) {
    const auto found = counts.find(name);
    return found == counts.end() ? 0 : found->second;
}

std::uint64_t sumOf(const Counts& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const auto& each) { return sum + each.second; });
}

void addCounts(Counts& counts, const Counts& others) {
    for (const auto& [name, count] : others) {
        counts[name] += count;
    }
}

void writeCounts(const std::string& path, const Counts& counts) {
    std::ofstream file(path);
    for (const auto& [name, count] : counts) {
        file << count << '\t' << name << '\n';
    }
    file.close();
    if (!file) {
        throw std::runtime_error(path + " cannot be written");
    }
}

}  // namespace box
