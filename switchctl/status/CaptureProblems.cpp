// What is wrong with the captures: what they need, when they run, and one that does not end.
#include "switchctl/input/CaptureTime.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Text.h"

#include <algorithm>

namespace {

using Profile = ProfileTable::Profile;
using Trouble = LogDigest::Trouble;

constexpr std::int64_t MINUTE = 60 * std::int64_t{1000000};
// A support command that runs longer hangs.
constexpr std::int64_t LONGEST_CAPTURE = 15 * MINUTE;
// Hardly a report is smaller when it is compressed and encoded.
constexpr std::int64_t SMALLEST_CAPTURE = 20000;

bool hasCapture(const Profile& profile) {
    return !profile.capture().empty();
}

bool isPossible(const std::string& capture) {
    try {
        CaptureTime::parse(capture);
        return true;
    } catch (const UsageError&) {
        return false;
    }
}

void addTools(const StatusFacts& facts, StatusProblems& problems) {
    if (!facts.flash.supportCommand) {
        const std::string command = FlashFacts::onHost(FlashFacts::SUPPORT_COMMAND);
        problems.push_back(problem::kSupportCommand(command, command));
    }
    if (!facts.flash.compressor) {
        problems.push_back(problem::kCompressor(FlashFacts::COMPRESSOR, FlashFacts::COMPRESSOR));
    }
}

void addSchedules(const StatusFacts& facts, StatusProblems& problems) {
    for (std::size_t number = 0; number < facts.profiles.size(); ++number) {
        const Profile& profile = facts.profiles[number];
        const std::string text = std::to_string(number);
        if (hasCapture(profile) && !isPossible(profile.capture())) {
            problems.push_back(problem::kCaptureTime(profile.name, profile.capture(), text, text, text));
        }
        const auto size = Text::number(profile.field("MaxSize"), 0, INT32_MAX);
        if (hasCapture(profile) && size && *size < SMALLEST_CAPTURE) {
            problems.push_back(problem::kCaptureTooLarge(profile.name, std::to_string(*size), text));
        }
    }
}

void addRunning(const StatusFacts& facts, StatusProblems& problems) {
    if (!facts.probe || facts.probe->captures == 0 || !facts.traces.captureBegun) {
        return;
    }
    const std::int64_t age = facts.now - *facts.traces.captureBegun;
    const long child = facts.traces.system.child;
    problems.push_back(
        age > LONGEST_CAPTURE
            ? problem::kCaptureLong(durationText(age), "-- -" + (child == 0 ? "PID" : std::to_string(child)))
            : problem::kCaptureRuns(durationText(age)));
}

}  // namespace

StatusProblems captureProblems(const StatusFacts& facts) {
    StatusProblems problems;
    if (std::ranges::any_of(facts.profiles, hasCapture)) {
        addTools(facts, problems);
        addSchedules(facts, problems);
    }
    const auto failed = facts.count(Trouble::CAPTURE_FAILED);
    if (failed.times != 0 && failed.last > facts.traces.captureDone.value_or(0)) {
        problems.push_back(
            problem::kCaptureFailed(momentText(failed.last), facts.log.lastText.at(Trouble::CAPTURE_FAILED)));
    }
    addRunning(facts, problems);
    return problems;
}
