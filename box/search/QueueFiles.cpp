#include "box/search/QueueFiles.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string_view>
#include <vector>

namespace box {

namespace {

namespace fs = std::filesystem;

constexpr const char* kQueueNames[] = {"send", "duplicate", "persist"};
constexpr char kBelow[] = "/ostrel/conf/orv/callHome/queues/";

// The numbers of the entries' files. An empty one is what a kill leaves of an entry that was not accepted yet.
std::set<std::uint32_t> entriesIn(const std::string& directory) {
    std::set<std::uint32_t> numbers;
    std::error_code error;
    for (const auto& each : fs::directory_iterator(directory, error)) {
        const std::string name = each.path().filename().string();
        if (name.starts_with('m') && fs::file_size(each.path(), error) > 0) {
            numbers.insert(static_cast<std::uint32_t>(std::stoul(name.substr(1))));
        }
    }
    return numbers;
}

// The words of an order file, in this machine's order of bytes.
std::vector<std::uint32_t> wordsOf(const std::string& path) {
    std::ostringstream stream;
    stream << std::ifstream(path, std::ios::binary).rdbuf();
    const std::string bytes = stream.str();
    std::vector<std::uint32_t> words(bytes.size() / sizeof(std::uint32_t));
    std::memcpy(words.data(), bytes.data(), words.size() * sizeof(std::uint32_t));
    return words;
}

std::string problemOf(const std::string& directory, const char* queue, const Excuses& excuses) {
    const std::string order = directory + "/order";
    if (!fs::exists(order) || excuses.cover(queue)) {
        return "";
    }
    const std::vector<std::uint32_t> words = wordsOf(order);
    const std::string where = std::string("the order file of the ") + queue + " queue ";
    if (words.empty() || words[0] > words.size() - 1) {
        return where + "has " + std::to_string(words.size()) + " words";
    }
    const std::set<std::uint32_t> present = entriesIn(directory);
    const std::set<std::uint32_t> listed(words.begin() + 1, words.begin() + 1 + static_cast<std::ptrdiff_t>(words[0]));
    const auto isExcused = [&](std::uint32_t number) {
        return excuses.cover(std::string(queue) + "/m" + std::to_string(number));
    };
    // A mailed entry has a file only once a repeat of it has been counted.
    const bool allHaveFiles = std::string_view(queue) != "duplicate";
    for (const std::uint32_t number : listed) {
        if (allHaveFiles && present.count(number) == 0 && !isExcused(number)) {
            return where + "lists m" + std::to_string(number) + ", which is not there";
        }
    }
    for (const std::uint32_t number : present) {
        if (listed.count(number) == 0 && !isExcused(number)) {
            return where + "does not list m" + std::to_string(number);
        }
    }
    return listed.size() == words[0] ? "" : where + "lists an entry twice";
}

}  // namespace

std::string queueFilesProblem(const std::string& root, const Excuses& excuses) {
    for (const char* queue : kQueueNames) {
        std::string problem = problemOf(root + kBelow + queue, queue, excuses);
        if (!problem.empty()) {
            return problem;
        }
    }
    return "";
}

unsigned entriesWithFiles(const std::string& root) {
    std::size_t count = 0;
    for (const char* queue : kQueueNames) {
        count += entriesIn(root + kBelow + queue).size();
    }
    return static_cast<unsigned>(count);
}

unsigned waitingEntries(const std::string& root) {
    return static_cast<unsigned>(entriesIn(root + kBelow + "send").size());
}

}  // namespace box
