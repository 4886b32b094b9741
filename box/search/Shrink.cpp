#include "box/search/Shrink.h"

#include "box/BoxDirectory.h"
#include "box/search/Search.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace box {

namespace {

// Takes out ever smaller groups of what is left, while the same rule is broken.
void takeOut(Options& best, Steps Options::*left, std::uint32_t count, const std::string& rule, const Try& attempt) {
    for (std::uint32_t size = std::max(1u, count / 2); size > 0; size /= 2) {
        for (std::uint32_t first = 1; first <= count; first += size) {
            Options smaller = best;
            for (std::uint32_t step = first; step < first + size && step <= count; ++step) {
                (smaller.*left).insert(step);
            }
            const bool isSmaller = (smaller.*left).size() > (best.*left).size();
            if (isSmaller && ruleOf(attempt(smaller).problem) == rule) {
                best = smaller;
            }
        }
    }
}

// Days, hours, minutes and seconds before a problem's text.
Time timeOf(const std::string& problem) {
    std::istringstream stream(problem);
    Time days = 0;
    Time hours = 0;
    Time minutes = 0;
    Time seconds = 0;
    char colon = 0;
    char secondColon = 0;
    stream >> days >> hours >> colon >> minutes >> secondColon >> seconds;
    if (!stream || colon != ':' || secondColon != ':') {
        return kNever;
    }
    return (((days * 24 + hours) * 60 + minutes) * 60 + seconds) * kSecond;
}

}  // namespace

// What has no time of its own is a life's end.
std::string ruleOf(const std::string& problem) {
    if (timeOf(problem) == kNever) {
        return problem;
    }
    const std::size_t begin = problem.find(": ");
    return problem.substr(begin + 2, problem.find(": ", begin + 2) - begin - 2);
}

Options shrunk(const Options& options, const Try& attempt) {
    Options best = options;
    const Tried first = attempt(best);
    const std::string rule = ruleOf(first.problem);
    if (first.problem.empty()) {
        return best;
    }
    const Time time = timeOf(first.problem);
    if (time != kNever) {
        Options shorter = best;
        shorter.until = time + kSecond;
        best = ruleOf(attempt(shorter).problem) == rule ? shorter : best;
    }
    const Tried now = attempt(best);
    takeOut(best, &Options::skip, now.steps, rule, attempt);
    takeOut(best, &Options::spare, now.lives, rule, attempt);
    return best;
}

std::string optionsLine(const Options& options) {
    std::string line = "--seed " + std::to_string(options.seed) + " --events " + std::to_string(options.eventsPerDay) +
                       " --faults " + faultsText(options.faults);
    line += options.profiles != Options{}.profiles ? " --profiles " + std::to_string(options.profiles) : "";
    line += options.days != Options{}.days ? " --days " + std::to_string(options.days) : "";
    line += options.dialogue.empty() ? "" : " --dialogue " + options.dialogue;
    line += options.until != kNever ? " --until " + std::to_string(options.until / kSecond) + "s" : "";
    line += options.skip.empty() ? "" : " --skip " + stepsText(options.skip);
    line += options.spare.empty() ? "" : " --spare " + stepsText(options.spare);
    return line;
}

int shrink(const Options& options) {
    unsigned tries = 0;
    const auto attempt = [&tries](const Options& tried) {
        ++tries;
        const BoxDirectory directory("");
        const Report report = runHistory(tried, tried.seed, directory);
        return Tried{report.problem, report.steps, report.lives};
    };
    Options smallest = shrunk(options, attempt);
    smallest.trace = true;
    const BoxDirectory directory("");
    const Report report = runHistory(smallest, smallest.seed, directory);
    std::printf("%s\n", report.text().c_str());
    if (report.problem.empty()) {
        return 0;
    }
    std::printf("%u tries, %zu of %u steps left out\n%s  # %s\n", tries, smallest.skip.size(), report.steps,
                optionsLine(smallest).c_str(), report.problem.c_str());
    return 1;
}

}  // namespace box
