#include "box/cuts/CutRecord.h"

#include "box/BoxDirectory.h"
#include "box/Lives.h"
#include "box/cuts/AfterCut.h"
#include "box/cuts/CutCauses.h"
#include "box/cuts/RecordingHistory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace box {

namespace {

constexpr char kSendQueue[] = "/ostrel/conf/orv/callHome/queues/send";
constexpr Time kUntilPower = 60 * kSecond;
// What stands there is in memory: it is gone with the power.
constexpr char kInMemory[] = "tmp/";

std::string howItEnded(const LifeOutcome& outcome) {
    if (!outcome.told) {
        return "the daemon's process ended: " + outcome.why;
    }
    return outcome.how == LifeEnd::kPaused  ? ""
           : outcome.how == LifeEnd::kEnded ? "the daemon ended with " + std::to_string(outcome.status)
                                            : outcome.why;
}

// Entries' files that no start could read stay, and their numbers are free: new messages are written over them.
void leaveUnreadable(const std::string& root) {
    std::string envelopes;
    for (int i = 0; i < 20; ++i) {
        envelopes +=
            "<OrvCHEnvelope>\n<MaxSize>\n2000000\n</->\n<Type>\nFullText\n</->\n<Profile>\nP\n</->\n"
            "<Subj>\nof somebody else\n</->\n<RcptList>\nsomebody@example.org\n</RcptList>\n</OrvCHEnvelope>\n";
    }
    for (const char* name : {"/m0", "/m1", "/m2", "/m3"}) {
        std::ofstream(root + kSendQueue + name)
            << "<OrvCHMesg>\n<EnvelopeList>\n" + envelopes + "</EnvelopeList>\n</OrvCHMesg>\n";
    }
}

World worldOf(std::uint64_t seed) {
    World world(seed);
    const RecordingHistory furnishes(seed, CutRecord::kLength, world, "");
    return world;
}

}  // namespace

CutRecord::CutRecord(std::uint64_t seed, Time length) : seed_(seed), world_(worldOf(seed)) {
    const BoxDirectory directory("");
    const bool hasLeftovers = seed % 2 == 1;
    if (hasLeftovers) {
        std::filesystem::create_directories(directory.path() + kSendQueue);
    }
    start_ = FileTree::below(directory.path());
    World world(seed);
    RecordingHistory history(seed, length, world, directory.path());
    if (hasLeftovers) {
        leaveUnreadable(directory.path());
        history.record()->takeInOthers();
    }
    const LifeOutcome outcome = liveOn(world, history, directory.path());
    // The history takes leftovers for entries that are not listed.
    problem_ = hasLeftovers || history.problem().empty() ? howItEnded(outcome) : history.problem();
    std::ranges::copy_if(history.operations(), std::back_inserter(operations_),
                         [](const FileOperation& operation) { return !operation.path.starts_with(kInMemory); });
    world_.now = world.now + kUntilPower;
}

CutState CutRecord::state(std::uint64_t number) const {
    if (number < prefixes()) {
        return {static_cast<std::size_t>(number), {}};
    }
    Random chance(seed_ * 0x9E3779B97F4A7C15u ^ number);
    const std::size_t cut = 1 + chance.below(static_cast<std::uint32_t>(prefixes() - 1));
    return drawState(operations_, cut, 1 + chance.below(CutState::kMostDamages), chance);
}

CutRecord::Outcome CutRecord::start(const FileTree& tree, bool isPrefix) {
    const BoxDirectory directory("");
    tree.writeBelow(directory.path());
    World world = world_;
    world.timeline.print(shown_);
    AfterCut script;
    const LifeOutcome life = live(world, script, directory.path());
    Outcome outcome;
    outcome.problem = howItEnded(life);
    outcome.problem = outcome.problem.empty() ? script.problem() : outcome.problem;
    for (const Mail& mail : script.mails()) {
        ++outcome.mails[keyOf(mail)];
        const std::string problem = isPrefix ? known_.add(mail) : known_.problemOf(mail);
        outcome.misread = outcome.misread.empty() ? problem : outcome.misread;
    }
    return outcome;
}

void CutRecord::fail(std::uint64_t number, const std::string& problem, CutFigures& figures) const {
    figures.failures.push_back("seed " + std::to_string(seed_) + " state " + std::to_string(number) +
                               " FAILED: " + problem + "\n  " + text(number));
}

void CutRecord::judge(std::uint64_t number, const Outcome& outcome, CutFigures& figures) const {
    if (!outcome.problem.empty()) {
        fail(number, outcome.problem, figures);
    }
    if (outcome.misread.empty()) {
        return;
    }
    const std::string cause = CutCauses(start_, operations_, state(number)).ofMix();
    if (cause.empty()) {
        fail(number, outcome.misread, figures);
    } else {
        ++figures.mixed[cause];
    }
}

void CutRecord::runPrefixes(CutFigures& figures) {
    FileTree tree = start_;
    for (std::size_t number = 0; number < prefixes(); ++number) {
        if (number > 0) {
            tree.apply(operations_[number - 1]);
        }
        const std::uint64_t digest = tree.digest();
        prefixDigests_.push_back(digest);
        if (outcomes_.count(digest) == 0) {
            judge(number, outcomes_[digest] = start(tree, true), figures);
        }
    }
}

CutFigures CutRecord::run(std::uint64_t states) {
    CutFigures figures;
    figures.records = 1;
    figures.operations = operations_.size();
    if (!problem_.empty()) {
        figures.failures.push_back("seed " + std::to_string(seed_) + " FAILED while it was recorded: " + problem_);
        return figures;
    }
    runPrefixes(figures);
    for (std::uint64_t number = 0; number < states; ++number) {
        runState(number, figures);
    }
    figures.distinct = outcomes_.size();
    return figures;
}

CutFigures CutRecord::show(std::uint64_t number) {
    CutFigures figures;
    runPrefixes(figures);
    figures = {};
    shown_ = true;
    outcomes_.erase(number < prefixes() ? 0 : tree(number).digest());
    runState(number, figures);
    return figures;
}

void CutRecord::runState(std::uint64_t number, CutFigures& figures) {
    const CutState cut = state(number);
    const Outcome& owed = outcomes_[prefixDigests_[cut.cut]];
    ++figures.states;
    for (const auto& [key, count] : owed.mails) {
        figures.mails += count;
    }
    const FileTree files = tree(number);
    const std::uint64_t digest = files.digest();
    const auto known = outcomes_.find(digest);
    if (known != outcomes_.end()) {
        compare(cut, owed, known->second, figures);
        return;
    }
    const Outcome& got = outcomes_[digest] = start(files, false);
    judge(number, got, figures);
    compare(cut, owed, got, figures);
}

void CutRecord::compare(const CutState& state, const Outcome& owed, const Outcome& got, CutFigures& figures) const {
    const auto difference = [](const Outcome& one, const Outcome& other) {
        std::map<std::string, std::uint64_t> more;
        for (const auto& [key, count] : one.mails) {
            const auto found = other.mails.find(key);
            const std::uint64_t there = found == other.mails.end() ? 0 : found->second;
            if (count > there) {
                more[key] = count - there;
            }
        }
        return more;
    };
    if (owed.mails == got.mails) {
        return;
    }
    const CutCauses causes(start_, operations_, state);
    for (const auto& [key, count] : difference(owed, got)) {
        figures.lost[causes.ofLoss(key.substr(0, key.find('\n')))] += count;
    }
    for (const auto& [key, count] : difference(got, owed)) {
        figures.doubled[causes.ofDouble(key.substr(0, key.find('\n')))] += count;
    }
}

}  // namespace box
