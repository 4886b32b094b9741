// What is wrong with the queue and the flash that keeps it.
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <algorithm>

namespace {

using Trouble = LogDigest::Trouble;

// Less than a message needs, its charge included.
constexpr std::uint32_t SMALLEST_SPACE = 400;
// What the next messages and the order files take.
constexpr std::uint64_t SPARE_BYTES = 65536;

struct Quota {
    const char* key;
    const char* preset;
    std::uint32_t least;
    std::optional<std::uint32_t> StatusFacts::Probe::*inForce;
};

constexpr Quota FILES = {"Global.Callhome.FilesAllowed", "100", 1, &StatusFacts::Probe::filesAllowed};
constexpr Quota SPACE = {"Global.Callhome.FileSystemSpaceAllowed", "5120000", SMALLEST_SPACE,
                         &StatusFacts::Probe::spaceAllowed};

// Before the daemon has read it, and where it does not say, what the attribute says.
std::optional<std::int64_t> inForce(const StatusFacts& facts, const Quota& quota) {
    if (facts.probe && *facts.probe.*quota.inForce) {
        return *facts.probe.*quota.inForce;
    }
    return Text::number(facts.attribute(quota.key), 0, UINT32_MAX);
}

void addQuota(const StatusFacts& facts, const Quota& quota, StatusProblems& problems) {
    const auto found = facts.attributes.find(quota.key);
    const std::string text = found == facts.attributes.end() ? "" : found->second;
    const auto number = inForce(facts, quota);
    if (number && *number < quota.least) {
        const auto stored = Text::number(text, 0, UINT32_MAX);
        const std::string shown = stored && *stored >= quota.least ? std::to_string(*number) : text;
        problems.push_back(problem::kQuotaZero(quota.key, shown, quota.key, quota.preset));
    } else if (found != facts.attributes.end() && !Text::number(text, 0, UINT32_MAX)) {
        problems.push_back(problem::kQuotaNumber(quota.key, text, quota.key, quota.preset));
    }
}

void addFullness(const StatusFacts& facts, StatusProblems& problems) {
    const auto files = inForce(facts, FILES);
    const auto space = inForce(facts, SPACE);
    if (facts.queue && files && *files != 0 && facts.queue->waiting >= *files) {
        problems.push_back(problem::kQueueFull(std::to_string(facts.queue->waiting) + " messages", FILES.key));
    }
    if (facts.queue && space && *space >= SMALLEST_SPACE && facts.queue->bytesInUse >= *space) {
        problems.push_back(problem::kQueueFull(std::to_string(facts.queue->bytesInUse) + " bytes", SPACE.key));
    }
}

std::string lastText(const StatusFacts& facts, Trouble trouble) {
    const auto found = facts.log.lastText.find(trouble);
    return found == facts.log.lastText.end() ? "" : found->second;
}

// Whether the last message that was refused was one too many; its sign stands behind that of the refusal.
bool isFileLimit(const StatusFacts& facts) {
    const auto& signs = facts.log.signs;
    const auto last = std::find_if(signs.rbegin(), signs.rend(), [](const LogDigest::Sign& sign) {
        return sign.trouble == Trouble::MESSAGE_REFUSED || sign.trouble == Trouble::FILE_LIMIT_REACHED;
    });
    return last != signs.rend() && last->trouble == Trouble::FILE_LIMIT_REACHED;
}

void addRefusals(const StatusFacts& facts, StatusProblems& problems) {
    const auto refused = facts.count(Trouble::MESSAGE_REFUSED);
    if (refused.times == 0 || refused.last < facts.log.settingsRead.value_or(0)) {
        return;
    }
    const std::string why = lastText(facts, Trouble::MESSAGE_REFUSED);
    problems.push_back(problem::kMessagesRefused(std::to_string(refused.times), momentText(refused.last), why,
                                                 isFileLimit(facts) ? FILES.key : SPACE.key));
}

// Each once, as long as the file is the one that could not be read.
void addLostFiles(const StatusFacts& facts, StatusProblems& problems) {
    for (const auto& [path, time] : facts.log.lostFiles) {
        const auto written = path.starts_with('/') ? FlashFacts::written(path) : std::nullopt;
        if (written && *written <= time + SECOND) {
            problems.push_back(problem::kEntryUnrestored(path, FlashFacts::onHost(path)));
        }
    }
    for (const std::string& file : facts.flash.foreign) {
        problems.push_back(problem::kForeignFile(file, file));
    }
}

}  // namespace

StatusProblems queueProblems(const StatusFacts& facts) {
    StatusProblems problems;
    addQuota(facts, FILES, problems);
    addQuota(facts, SPACE, problems);
    addFullness(facts, problems);
    addRefusals(facts, problems);
    return problems;
}

StatusProblems flashProblems(const StatusFacts& facts) {
    StatusProblems problems;
    const std::string& directory = facts.flash.directory;
    if (facts.flash.readOnly) {
        problems.push_back(problem::kFlashReadOnly(directory, directory));
    } else if (facts.flash.free && *facts.flash.free < SPARE_BYTES) {
        problems.push_back(problem::kFlashFull(std::to_string(*facts.flash.free), directory, directory));
    }
    const auto failed = facts.count(Trouble::FILE_UNWRITTEN);
    if (failed.times != 0) {
        const std::string why = facts.traces.fileError.empty() ? "" : " (" + facts.traces.fileError + ")";
        problems.push_back(
            problem::kFlashFails(momentText(failed.last), lastText(facts, Trouble::FILE_UNWRITTEN) + why, directory));
    }
    addLostFiles(facts, problems);
    return problems;
}
