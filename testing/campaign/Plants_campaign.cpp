// What somebody has planted in the place of every fixed name: nothing outside is touched, and the daemon goes on.
#include "testing/campaign/RoadCase.h"

#include "Descriptor.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <string_view>
#include <system_error>

namespace {

namespace fs = std::filesystem;

constexpr char kOutside[] = "/outside";

enum class Costs {
    kNothing,   // all goes on
    kFirst,     // the first event's file was in that place
    kAll,       // everything kept was
    kCaptures,  // the captures' mails
    kTheStart,  // without the number of the last capture the daemon does not start
};

struct Place {
    const char* path;
    Costs costs;
    bool captures = false;  // used by captures only
};

constexpr Place kPlaces[] = {
    {"/tmp/orv.out.Main", Costs::kNothing},
    {"/tmp/orv.out.Main.1", Costs::kNothing},
    {"/tmp/orv.out.SMTPClient", Costs::kNothing},
    {"/tmp/orv.out.Capture", Costs::kNothing},
    {"/tmp/orv-queue-order", Costs::kAll},
    {"/ostrel/conf/orv", Costs::kTheStart},
    {"/ostrel/conf/orv/callHome", Costs::kTheStart},
    {"/ostrel/conf/orv/callHome/sync", Costs::kNothing},
    {"/ostrel/conf/orv/callHome/attachments", Costs::kNothing},
    {"/ostrel/conf/orv/callHome/attachments.stage", Costs::kNothing},
    {"/ostrel/conf/orv/callHome/attachments.state", Costs::kNothing},
    {"/ostrel/conf/orv/callHome/capture.seq", Costs::kTheStart},
    {"/ostrel/conf/orv/callHome/capture.seq.new", Costs::kNothing},
    {"/ostrel/conf/orv/callHome/queues", Costs::kAll},
    {"/ostrel/conf/orv/callHome/queues/send", Costs::kAll},
    {"/ostrel/conf/orv/callHome/queues/duplicate", Costs::kNothing},
    {"/ostrel/conf/orv/callHome/queues/persist", Costs::kNothing},
    {"/ostrel/conf/orv/callHome/queues/send/order", Costs::kNothing},
    {"/ostrel/conf/orv/callHome/queues/send/order.new", Costs::kNothing},
    {"/ostrel/conf/orv/callHome/queues/send/m0", Costs::kFirst},
    {"/ostrel/conf/orv/callHome/queues/send/m3", Costs::kNothing},
    {"/ostrel/conf/orv/callHome/queues/duplicate/order", Costs::kNothing},
    {"/ostrel/conf/orv/callHome/queues/duplicate/m0", Costs::kNothing},
    {"/ostrel/conf/orv/callHome/queues/persist/order", Costs::kNothing},
    {"/tmp/smlCapture.txt", Costs::kCaptures, true},
    {"/tmp/output.1", Costs::kCaptures, true},
    {"/ostrel/conf/logfile", Costs::kCaptures, true},
    {"/ostrel/conf/orv/callHome/attachments/smlCapture.txt.gz", Costs::kCaptures, true},
    {"/ostrel/conf/orv/callHome/attachments/smlCapture.txt.gz.1", Costs::kCaptures, true},
    {"/ostrel/conf/orv/callHome/attachments", Costs::kCaptures, true},
    {"/ostrel/conf/orv/callHome/capture.seq", Costs::kTheStart, true},
};

void makeLink(const TempRoot& root, const std::string& target, const std::string& place) {
    fs::create_symlink(root.at(target), place);
}

void makeSocket(const std::string& place) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    // A socket's path is short: it is bound elsewhere and moved.
    const std::string name = "/tmp/orv-plant-" + std::to_string(::getpid());
    std::strncpy(address.sun_path, name.c_str(), sizeof address.sun_path - 1);
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    fs::rename(name, place);
}

struct Kind {
    const char* name;
    void (*plant)(const TempRoot& root, const std::string& place);
};

constexpr Kind kKinds[] = {
    {"linkToFile", [](const TempRoot& root, const std::string& place) { makeLink(root, "/outside/victim", place); }},
    {"danglingLink", [](const TempRoot& root, const std::string& place) { makeLink(root, "/outside/absent", place); }},
    {"linkToDirectory",
     [](const TempRoot& root, const std::string& place) { makeLink(root, "/outside/house", place); }},
    {"hardLink",
     [](const TempRoot& root, const std::string& place) { fs::create_hard_link(root.at("/outside/victim"), place); }},
    {"fifo",
     [](const TempRoot&, const std::string& place) {
         if (::mkfifo(place.c_str(), 0600) != 0) {
             throw std::system_error(errno, std::generic_category(), place);
         }
     }},
    {"directory", [](const TempRoot&, const std::string& place) { fs::create_directories(place + "/inner"); }},
    {"socket", [](const TempRoot&, const std::string& place) { makeSocket(place); }},
};

void makeVictims(const TempRoot& root) {
    root.write("/outside/victim", "somebody else's\n");
    for (const char* const name : {"m0", "order", "smlCapture.txt.gz", "other", "queues/send/m0", "send/m0"}) {
        root.write(std::string("/outside/house/") + name, "at home\n");
    }
}

// Everything outside, with what it holds.
std::map<std::string, std::string> outside(const TempRoot& root) {
    std::map<std::string, std::string> all;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root.at(kOutside))) {
        const std::string name = entry.path().string().substr(root.path().size());
        all[name] = entry.is_regular_file() ? root.read(name) : "-";
    }
    return all;
}

// In the place of whatever is there; that is as if it had never been.
void plant(const TempRoot& root, const Place& place, const Kind& kind) {
    const std::string path = root.at(place.path);
    fs::create_directories(fs::path(path).parent_path());
    fs::remove_all(path);
    kind.plant(root, path);
}

void keepThree(Life& life) {
    life.start();
    life.board().refusing = true;
    for (const unsigned event : {0u, 1u, 2u}) {
        life.accept(event);
    }
}

void supportShell(Life& life) {
    const std::string report = life.root().at("/tmp/smlCapture.txt");
    const std::string path = "/ostrel/bin/clish";
    life.root().write(
        path, "#!/bin/sh\n[ -e '" + report + "' ] || [ -L '" + report + "' ] || echo well > '" + report + "'\n");
    fs::permissions(life.root().at(path), fs::perms::owner_all);
}

// Uses every place: mails, counts repeats of what is parked and of what waits, and mails again.
void useAll(const Place& place, Life& life) {
    supportShell(life);
    life.start();
    life.mailAll(3);
    life.publish(3);
    life.board().refusing = true;
    life.accept(4);
    life.publish(4);
    life.sw().tick(place.captures ? 130 : 20);
    life.mailAll(5);
    life.end(kMailedAll);
}

void forgetWhatIsLost(Board& board, const Place& place, bool wasKept) {
    for (const unsigned event : {0u, 1u, 2u}) {
        const bool lost = place.costs == Costs::kAll || place.costs == Costs::kTheStart ||
                          (place.costs == Costs::kFirst && event == 0);
        board.accepted[event] = wasKept && !lost;
    }
}

std::string differences(const std::map<std::string, std::string>& before,
                        const std::map<std::string, std::string>& after) {
    std::string text;
    for (const auto& [name, content] : before) {
        const auto found = after.find(name);
        text += found == after.end() ? name + " is gone; " : found->second != content ? name + " was changed; " : "";
    }
    for (const auto& [name, content] : after) {
        text += before.count(name) == 0 ? name + " was made; " : "";
    }
    return text;
}

// A directory with something in it does not make way for a new file.
bool costsTheStart(const Place& place, const Kind& kind) {
    return place.costs == Costs::kTheStart ||
           (std::string_view(kind.name) == "directory" && std::string_view(place.path).ends_with("capture.seq.new"));
}

CaseResult runPlant(const Place& place, const Kind& kind, bool late) {
    World world;
    const Life::Settings settings{.captures = place.captures};
    makeVictims(world.root());
    if (late && !world.live(settings, keepThree).paused()) {
        return {Verdict::kFailed, "preparing"};
    }
    plant(world.root(), place, kind);
    forgetWhatIsLost(world.board(), place, late);
    world.board().filesLeft = 4;  // entries that could not be read, or deleted in a place that is not theirs
    const auto before = outside(world.root());
    const LifeOutcome outcome = world.live(settings, [&](Life& life) { useAll(place, life); });
    std::string problems = differences(before, outside(world.root()));
    const bool mayEnd = outcome.loopEnded() && costsTheStart(place, kind);
    if (!outcome.mailedAll() && !mayEnd) {
        problems += outcome.text() + " (" + world.board().complaint.data() + "); ";
    }
    if (outcome.how == LifeOutcome::kBroken || outcome.how == LifeOutcome::kAborted || lookingClosely()) {
        problems += problems.empty() && !lookingClosely() ? "" : "\n" + outcome.errors;
    }
    problems += mayEnd ? "" : world.judgeCounts(settings, 3);
    const bool failed = problems.find("; ") != std::string::npos;
    return {failed ? Verdict::kFailed : Verdict::kHeld, problems};
}

std::vector<CampaignCase> makeCases() {
    std::vector<CampaignCase> cases;
    for (const Place& place : kPlaces) {
        for (const Kind& kind : kKinds) {
            for (const bool late : {false, true}) {
                const std::string name = std::string(late ? "restart" : "start") + place.path + "/" + kind.name +
                                         (place.captures ? "/capture" : "");
                cases.push_back({name, [&place, &kind, late] { return runPlant(place, kind, late); }});
            }
        }
    }
    return cases;
}

}  // namespace

int main(int argc, char** argv) {
    return runCampaign("orv_campaign_plants", argc, argv, makeCases);
}
