// Files of the daemon that are damaged while it is down: it starts, mails what can be read, and goes on.
#include "testing/campaign/RoadCase.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>

namespace {

constexpr char kCallHome[] = "/ostrel/conf/orv/callHome/";

enum class Costs {
    kNothing,
    kFirst,
    kSecond,
    kAllIfEmpty,  // an empty order file means an empty queue
    kAllIfCut,    // the beginning of a count counts, and makes room for so many at the cost of what waits
    kTheStart,
};

struct File {
    const char* name;
    Costs costs;
};

constexpr File kFiles[] = {
    {"queues/send/m0", Costs::kFirst},          {"queues/send/m1", Costs::kSecond},
    {"queues/send/order", Costs::kAllIfEmpty},  {"queues/duplicate/order", Costs::kNothing},
    {"queues/persist/order", Costs::kAllIfCut}, {"attachments.state", Costs::kNothing},
    {"capture.seq", Costs::kTheStart},
};

// What the damaged file holds instead.
struct Damage {
    std::string name;
    std::string bytes;
};

std::vector<std::string> linesOf(const std::string& bytes) {
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < bytes.size();) {
        const std::size_t end = std::min(bytes.find('\n', start), bytes.size() - 1) + 1;
        lines.push_back(bytes.substr(start, end - start));
        start = end;
    }
    return lines;
}

std::string joined(const std::vector<std::string>& lines) {
    std::string bytes;
    for (const std::string& line : lines) {
        bytes += line;
    }
    return bytes;
}

void addByteDamages(const std::string& bytes, std::vector<Damage>& all) {
    constexpr unsigned char kOthers[] = {0, 0xff, '\n', '<', '9'};
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        all.push_back({"cutAt" + std::to_string(at), bytes.substr(0, at)});
        for (const unsigned char other : kOthers) {
            std::string changed = bytes;
            changed[at] = static_cast<char>(other);
            all.push_back({"byte" + std::to_string(at) + "is" + std::to_string(other), changed});
        }
    }
}

void addLineDamages(const std::string& bytes, std::vector<Damage>& all) {
    const std::vector<std::string> lines = linesOf(bytes);
    const std::string long_(1 << 20, 'x');
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto changed = [&](const char* what, const std::string& line) {
            std::vector<std::string> other = lines;
            other[i] = line;
            all.push_back({what + std::to_string(i), joined(other)});
        };
        changed("without", "");
        changed("doubled", lines[i] + lines[i]);
        changed("huge", "99999999999999999999\n");
        changed("negative", "-2147483649\n");
        changed("nul", std::string("\0\0\0\n", 4));
        changed("long", long_ + "\n");
        changed("longTag", "<" + long_ + ">\n");
    }
}

void addWordDamages(const std::string& bytes, std::vector<Damage>& all) {
    for (std::size_t at = 0; at + 4 <= bytes.size(); at += 4) {
        for (const char* const word :
             {"\xff\xff\xff\xff", "\x7f\xff\xff\xff", "\x00\x00\x00\x01", "\x40\x00\x00\x00"}) {
            std::string changed = bytes;
            changed.replace(at, 4, word, 4);
            all.push_back({"word" + std::to_string(at) + "of" + std::to_string(all.size()), changed});
        }
    }
    all.push_back({"longer", bytes + bytes + "x"});
    all.push_back({"oneMegabyte", std::string(1 << 20, '\x11')});
}

std::vector<Damage> damagesOf(const std::string& bytes) {
    std::vector<Damage> all;
    addByteDamages(bytes, all);
    if (bytes.find('\n') != std::string::npos) {
        addLineDamages(bytes, all);
    }
    addWordDamages(bytes, all);
    return all;
}

// Three events wait, one of them was counted again.
void keepThree(Life& life) {
    life.start();
    life.board().refusing = true;
    for (const unsigned event : {0u, 1u, 2u}) {
        life.accept(event);
    }
    life.publish(1);
    life.sw().tick();
}

void mailWhatCanBeRead(Life& life) {
    life.start();
    life.mailAll(kFirstFurtherEvent);
    life.end(kMailedAll);
}

void mailFurther(Life& life) {
    life.start();
    life.mailAll(kFirstFurtherEvent + 1);
    life.end(kMailedAll);
}

// What need not come.
void forgetWhatIsLost(Board& board, const File& file, const Damage& damage) {
    const std::size_t size = damage.bytes.size();
    const bool all =
        (file.costs == Costs::kAllIfEmpty && size == 0) || (file.costs == Costs::kAllIfCut && size > 0 && size < 4);
    board.accepted[0] = !all && file.costs != Costs::kFirst;
    board.accepted[1] = !all && file.costs != Costs::kSecond;
    board.accepted[2] = !all;
}

CaseResult runDamage(const File& file, const Damage& damage) {
    World world;
    const std::string path = std::string(kCallHome) + file.name;
    if (!world.live({}, keepThree).paused()) {
        return {Verdict::kFailed, "preparing"};
    }
    world.root().write(path, damage.bytes);
    forgetWhatIsLost(world.board(), file, damage);
    world.board().filesLeft = 4;
    LifeOutcome outcome = world.live({}, mailWhatCanBeRead);
    if (file.costs == Costs::kTheStart && outcome.loopEnded()) {
        // A number of captures that cannot be read is for somebody to look at; without the file it starts.
        std::filesystem::remove(world.root().at(path));
        outcome = world.live({}, mailFurther);
    }
    std::string problems = world.judgeCounts({}, 16);
    if (!outcome.mailedAll()) {
        problems += lookingClosely() ? world.traces() : "";
        problems += outcome.text() + " (" + world.board().complaint.data() + ")\n" + outcome.errors;
    }
    return {problems.empty() ? Verdict::kHeld : Verdict::kFailed, problems};
}

// As a life leaves them.
std::vector<std::pair<const File*, std::string>> filesOfALife() {
    World world;
    world.live({}, keepThree);
    std::vector<std::pair<const File*, std::string>> files;
    for (const File& file : kFiles) {
        files.emplace_back(&file, world.root().read(std::string(kCallHome) + file.name));
    }
    return files;
}

std::vector<CampaignCase> makeCases() {
    constexpr std::size_t kMostOfOneFile = 70;
    std::vector<CampaignCase> cases;
    for (const auto& [file, bytes] : filesOfALife()) {
        for (const Damage& damage : sampleOf(damagesOf(bytes), kMostOfOneFile)) {
            const auto kept = std::make_shared<Damage>(damage);
            cases.push_back(
                {std::string(file->name) + "/" + damage.name, [file = file, kept] { return runDamage(*file, *kept); }});
        }
    }
    return cases;
}

}  // namespace

int main(int argc, char** argv) {
    return runCampaign("orv_campaign_damage", argc, argv, makeCases);
}
