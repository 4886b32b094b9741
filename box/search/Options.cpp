#include "box/search/Options.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>

namespace box {

namespace {

struct NamedFault {
    std::string_view name;
    std::uint32_t faults;
};
constexpr NamedFault kFaults[] = {{"all", kAllFaults},        {"none", 0},
                                  {"servers", kServerFaults}, {"kills", kKills},
                                  {"restarts", kRestarts},    {"config", kConfigChanges},
                                  {"requests", kRequests},    {"calls", kCallFaults},
                                  {"memory", kMemoryFaults},  {"captures", kCaptures},
                                  {"oddities", kOddities},    {"nights", kNights}};

// A whole number within the bounds.
template <typename Number>
bool readNumber(std::string_view text, Number least, Number most, Number& number) {
    Number read = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), read);
    if (error != std::errc() || end != text.data() + text.size() || !(read >= least && read <= most)) {
        return false;
    }
    number = read;
    return true;
}

// "3d", "5h", "20m" or "40s".
bool readSpan(std::string_view text, Time& span) {
    constexpr struct {
        char unit;
        std::uint64_t seconds;
    } kUnits[] = {{'d', 86400}, {'h', 3600}, {'m', 60}, {'s', 1}};
    for (const auto& each : kUnits) {
        std::uint64_t count = 0;
        if (text.ends_with(each.unit) &&
            readNumber<std::uint64_t>(text.substr(0, text.size() - 1), 0, 4000000000u / each.seconds, count)) {
            span = count * each.seconds * kSecond;
            return true;
        }
    }
    return false;
}

bool readFaults(std::string_view text, std::uint32_t& faults) {
    faults = 0;
    while (!text.empty()) {
        const std::string_view name = text.substr(0, text.find(','));
        const auto* const found = std::ranges::find(kFaults, name, &NamedFault::name);
        if (found == std::ranges::end(kFaults)) {
            return false;
        }
        faults |= found->faults;
        text.remove_prefix(std::min(text.size(), name.size() + 1));
    }
    return true;
}

struct Option {
    std::string_view name;
    std::string_view value;  // what it is called in the usage; empty: it takes none
    std::string_view meaning;
    bool (*take)(std::string_view text, Options& options);
};

constexpr Option kOptions[] = {
    {"--seed", "N", "decides all that is not given (1)",
     [](std::string_view text, Options& o) { return readNumber<std::uint64_t>(text, 0, UINT64_MAX, o.seed); }},
    {"--runs", "N", "so many histories, of this seed and those that follow (1)",
     [](std::string_view text, Options& o) { return readNumber<std::uint32_t>(text, 1, 1000000000, o.runs); }},
    {"--days", "N", "so long is a history (1)",
     [](std::string_view text, Options& o) { return readNumber<std::uint32_t>(text, 1, 20000, o.days); }},
    {"--events", "N", "so many events a day, about (200)",
     [](std::string_view text, Options& o) { return readNumber<std::uint32_t>(text, 1, 1000000, o.eventsPerDay); }},
    {"--profiles", "N", "so many profiles mail events, 1 or 2 (2)",
     [](std::string_view text, Options& o) { return readNumber<std::uint32_t>(text, 1, 2, o.profiles); }},
    {"--faults", "KINDS",
     "all, none, or of servers,kills,restarts,config,requests,calls,memory,captures,oddities (all); nights",
     [](std::string_view text, Options& o) { return readFaults(text, o.faults); }},
    {"--dialogue", "NAME", "the daemon speaks required or conforming SMTP (as ORV_SMTP_DIALOGUE says)",
     [](std::string_view text, Options& o) { return o.dialogue = text, text == "required" || text == "conforming"; }},
    {"--until", "TIME", "the history ends there, as 3d, 5h, 20m or 40s",
     [](std::string_view text, Options& o) { return readSpan(text, o.until); }},
    {"--skip", "STEPS", "these steps do not happen, as 3-17,20",
     [](std::string_view text, Options& o) { return readSteps(text, o.skip); }},
    {"--spare", "LIVES", "these lives begin with no kill and no failures before them",
     [](std::string_view text, Options& o) { return readSteps(text, o.spare); }},
    {"--shrink", "", "looks for the fewest steps of a history that still fail, and prints them",
     [](std::string_view, Options& o) { return o.shrink = true; }},
    {"--jobs", "N", "so many histories at once (1)",
     [](std::string_view text, Options& o) { return readNumber<std::uint32_t>(text, 1, 64, o.jobs); }},
    {"--minutes", "N", "looks for a failure that long, as 90 or 0.5; the same with --cuts and --compare",
     [](std::string_view text, Options& o) { return readNumber<double>(text, 0.01, 100000, o.minutes); }},
    {"--first", "", "with --minutes: ends with the first history that fails",
     [](std::string_view, Options& o) { return o.first = true; }},
    {"--figures", "FILE", "what was counted, a line each",
     [](std::string_view text, Options& o) { return o.figures = text, !text.empty(); }},
    {"--cuts", "N", "so many states that power cuts may leave, instead of histories",
     [](std::string_view text, Options& o) { return readNumber<std::uint64_t>(text, 1, 1000000000, o.cuts); }},
    {"--compare", "N", "so many histories of the daemon and of the model, instead",
     [](std::string_view text, Options& o) { return readNumber<std::uint64_t>(text, 1, 1000000000, o.compare); }},
    {"--steps", "N", "so many steps has each of these (50)",
     [](std::string_view text, Options& o) { return readNumber<std::uint32_t>(text, 1, 100000, o.steps); }},
    {"--state", "N", "one of the seed's states after power cuts, printed as it happens",
     [](std::string_view text, Options& o) { return readNumber<std::int64_t>(text, 0, 1000000000, o.state); }},
    {"--directory", "DIR", "the switch's files, in an empty directory in memory (a new one)",
     [](std::string_view text, Options& o) { return o.directory = text, !text.empty(); }},
    {"--seeds", "FILE", "the histories of a file, a line of options each",
     [](std::string_view text, Options& o) { return o.seeds = text, !text.empty(); }},
    {"--trace", "", "prints what happens", [](std::string_view, Options& o) { return o.trace = true; }},
    {"--version", "", "prints which version this is", [](std::string_view, Options& o) { return o.version = true; }},
    {"--help", "", "prints this", [](std::string_view, Options& o) { return o.help = true; }},
};

}  // namespace

bool readOptions(int argc, const char* const* argv, Options& options, std::string& problem) {
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        const auto* const found = std::ranges::find(kOptions, std::string_view(name), &Option::name);
        if (found == std::ranges::end(kOptions)) {
            problem = "unknown option " + name;
            return false;
        }
        const bool takesValue = !found->value.empty();
        if (takesValue && i + 1 == argc) {
            problem = name + " takes a value";
            return false;
        }
        const std::string value = takesValue ? argv[++i] : "";
        if (!found->take(value, options)) {
            problem = name + " cannot be " + (value.empty() ? "empty" : value);
            return false;
        }
    }
    if (options.minutes > 0 && options.trace) {
        problem = "--trace goes with one history, not with --minutes";
        return false;
    }
    if (!options.dialogue.empty() && (options.compare > 0 || options.cuts > 0 || options.state >= 0)) {
        problem = "--dialogue goes with random histories only";
        return false;
    }
    if (options.shrink && (options.minutes > 0 || options.runs > 1 || !options.directory.empty())) {
        problem = "--shrink goes with one history, in a directory of its own";
        return false;
    }
    if ((options.cuts > 0 || options.state >= 0) && options.compare > 0) {
        problem = "--compare goes without power cuts";
        return false;
    }
    if (options.first && (options.minutes == 0 || options.jobs > 1)) {
        problem = "--first goes with --minutes, and with one job";
        return false;
    }
    if (!options.directory.empty() && (options.minutes > 0 || options.runs > 1)) {
        problem = "--directory goes with one history";
        return false;
    }
    return true;
}

std::string faultsText(std::uint32_t faults) {
    std::string text;
    for (const NamedFault& each : kFaults) {
        if (each.faults == faults) {
            return std::string(each.name);
        }
        if (each.faults != kAllFaults && (each.faults & faults) != 0) {
            text += (text.empty() ? "" : ",") + std::string(each.name);
        }
    }
    return text;
}

std::string usage() {
    std::string text = "Usage: orvBox [OPTION]...\nRuns the daemon through random histories in virtual time.\n\n";
    for (const Option& option : kOptions) {
        std::string line =
            "  " + std::string(option.name) + (option.value.empty() ? "" : " ") + std::string(option.value);
        line.resize(std::max<std::size_t>(line.size() + 1, 20), ' ');
        text += line + std::string(option.meaning) + "\n";
    }
    return text;
}

bool readSeeds(const std::string& path, std::vector<Options>& histories, std::string& problem) {
    std::ifstream file(path);
    if (!file) {
        problem = path + " cannot be read";
        return false;
    }
    unsigned number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        std::istringstream stream(line.substr(0, line.find('#')));
        const std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
        std::vector<const char*> arguments{"orvBox"};
        for (const std::string& word : words) {
            arguments.push_back(word.c_str());
        }
        Options options;
        if (!readOptions(static_cast<int>(arguments.size()), arguments.data(), options, problem)) {
            std::string place = path;
            place.append(":").append(std::to_string(number)).append(": ");
            problem.insert(0, place);
            return false;
        }
        if (!words.empty()) {
            histories.push_back(options);
        }
    }
    return true;
}

}  // namespace box
