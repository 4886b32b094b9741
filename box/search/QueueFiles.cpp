#include "box/search/QueueFiles.h"

#include "Descriptor.h"
#include "Directory_Stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>
#include <vector>

namespace box {

namespace {

constexpr const char* kQueueNames[] = {"send", "duplicate", "persist"};
constexpr char kBelow[] = "/ostrel/conf/orv/callHome/queues/";

using Numbers = std::vector<std::uint32_t>;  // in their order, each once

void setInOrder(Numbers& numbers) {
    std::ranges::sort(numbers);
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
}

bool contains(const Numbers& numbers, std::uint32_t number) {
    return std::ranges::binary_search(numbers, number);
}

// The numbers of the entries' files. An empty one is what a kill leaves of an entry that was not accepted yet; whether
// those are empty that may be is not looked at.
Numbers entriesIn(const std::string& directory, const Numbers& mayBeEmpty = {}) {
    Numbers numbers;
    Directory_Stream all(Descriptor(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    while (const char* const name = all ? all.next() : nullptr) {
        if (name[0] != 'm') {
            continue;
        }
        const auto number = static_cast<std::uint32_t>(std::stoul(name + 1));
        struct stat status {};
        if (contains(mayBeEmpty, number) ||
            (::fstatat(all.descriptor(), name, &status, 0) == 0 && status.st_size > 0)) {
            numbers.push_back(number);
        }
    }
    setInOrder(numbers);
    return numbers;
}

// The words of an order file, in this machine's order of bytes.
Numbers wordsOf(const Descriptor& order) {
    std::string bytes;
    char some[4096];
    for (ssize_t got = ::read(order.get(), some, sizeof some); got > 0; got = ::read(order.get(), some, sizeof some)) {
        bytes.append(some, static_cast<std::size_t>(got));
    }
    Numbers words(bytes.size() / sizeof(std::uint32_t));
    std::memcpy(words.data(), bytes.data(), words.size() * sizeof(std::uint32_t));
    return words;
}

std::string problemOf(const std::string& directory, const char* queue, const Excuses& excuses) {
    const Descriptor order(::open((directory + "/order").c_str(), O_RDONLY | O_CLOEXEC));
    if (!order || excuses.cover(queue)) {
        return "";
    }
    const Numbers words = wordsOf(order);
    const std::string where = std::string("the order file of the ") + queue + " queue ";
    if (words.empty() || words[0] > words.size() - 1) {
        return where + "has " + std::to_string(words.size()) + " words";
    }
    Numbers listed(words.begin() + 1, words.begin() + 1 + static_cast<std::ptrdiff_t>(words[0]));
    setInOrder(listed);
    const auto isExcused = [&](std::uint32_t number) {
        return excuses.cover(std::string(queue) + "/m" + std::to_string(number));
    };
    // A mailed entry has a file only once a repeat of it has been counted.
    const bool allHaveFiles = std::string_view(queue) != "duplicate";
    const Numbers present = entriesIn(directory, allHaveFiles ? Numbers() : listed);
    for (const std::uint32_t number : listed) {
        if (allHaveFiles && !contains(present, number) && !isExcused(number)) {
            return where + "lists m" + std::to_string(number) + ", which is not there";
        }
    }
    for (const std::uint32_t number : present) {
        if (!contains(listed, number) && !isExcused(number)) {
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

unsigned captureEntries(const std::string& root) {
    unsigned count = 0;
    for (const char* queue : kQueueNames) {
        const std::string directory = root + kBelow + queue;
        for (const std::uint32_t number : entriesIn(directory)) {
            std::ifstream file(directory + "/m" + std::to_string(number));
            const std::string text{std::istreambuf_iterator<char>(file), {}};
            count += text.find("\n<CronSeq>\n") != std::string::npos ? 1u : 0u;
        }
    }
    return count;
}

unsigned waitingEntries(const std::string& root) {
    return static_cast<unsigned>(entriesIn(root + kBelow + "send").size());
}

}  // namespace box
