#include "box/search/RandomHistory.h"

#include "MessageCodes.h"
#include "box/Aside.h"
#include "box/Life.h"
#include "box/search/Options.h"
#include "box/search/QueueFiles.h"
#include "catalogue/OrvEventCatalogue.h"
#include "catalogue/OrvLogEntries.h"
#include "dsClient.h"
#include "host_root.h"
#include "platform/wire/ManagementWire.h"
#include "platform/wire/Wire.h"

#include <algorithm>
#include <cstdlib>

namespace box {

namespace {

constexpr char kEventText[] = "event number ";
constexpr char kOperator[] = "operator@example.com";
// From the end of all faults to the end of the history: longer than the longest pause before a retry, twice.
constexpr Time kCalm = 4 * 3600 * kSecond;

struct Setting {
    const char* key;
    std::vector<const char*> values;
};

const std::vector<Setting>& settings() {
    static const auto& all = *new std::vector<Setting>{
        {"Global.Callhome.ThrottleDupsEnable", {"True", "False"}},
        {"Global.Callhome.ThrottleDupsPeriod", {"15", "60", "300", "3600"}},
        {"Global.Callhome.DiscardPeriod", {"86400", "7200", "600"}},
        {"Global.Callhome.FilesAllowed", {"100", "20", "3"}},
        {"Global.Callhome.FileSystemSpaceAllowed", {"5120000", "100000", "3000"}},
        {"Global.Callhome.SMTPEnable", {"True", "True", "False"}},
        {"Global.Callhome.SMTPEnable1", {"True", "True", "False"}},
        {"Global.CallhomeDB.Profile.1.Level", {"Alarm", "Critical", "Info", "Fault"}},
        {"Global.CallhomeDB.Profile.1.NumberOfEmails", {"1", "2"}},
        {"Global.CallhomeDB.NumberOfProfiles", {"2", "2", "1"}},
        {"Global.Snmp.Location", {"Lab 1", "Lab 2"}},
    };
    return all;
}

void furnish(World& world) {
    world.servers = {{"mail1.example.com", "192.0.2.1", 25, {}}, {"mail2.example.com", "192.0.2.2", 2525, {}}};
    world.set("Global.Services.CallhomeEnable", "True");
    world.set("Global.Callhome.FromAddr", "switch@example.com");
    world.set("Global.Callhome.NF-SMTPAddr", "1-192.0.2.1");
    world.set("Global.Callhome.SMTPPort", "25");
    world.set("Global.Callhome.SMTPEnable", "True");
    world.set("Global.Callhome.NF-SMTPAddr1", "3-mail2.example.com");
    world.set("Global.Callhome.SMTPPort1", "2525");
    world.set("Global.Callhome.SMTPEnable1", "True");
    world.setProfile(0, {"Operators", "Info", "FullText", "Switch Operators", {kOperator}});
    world.setProfile(1, {"Service", "Critical", "ShortText", "Switch Service", {"s1@example.com", "s2@example.com"}});
    world.set("Global.CallhomeDB.NumberOfProfiles", "2");
}

ServerManner drawManner(Random& chance) {
    ServerManner manner;
    switch (chance.below(6)) {
        case 0:
            manner.reach = ServerManner::kRefusing;
            break;
        case 1:
            manner.reach = ServerManner::kUnreachable;
            break;
        case 2:
            manner.slowestReply = 20000;
            break;
        case 3:
            manner.defers = chance.below(200);
            manner.refuses = chance.below(100);
            manner.breaksOff = chance.below(100);
            manner.mute = chance.below(30);
            manner.splits = chance.below(50);
            break;
        default:
            break;
    }
    return manner;
}

// The number behind "event number "; -1 when there is none.
std::int64_t eventIn(const std::string& text) {
    const std::size_t at = text.find(kEventText);
    return at == std::string::npos ? -1 : std::strtoll(text.c_str() + at + sizeof kEventText - 1, nullptr, 10);
}

}  // namespace

// What a step may be, and how often it is drawn.
struct RandomHistory::Kind {
    std::uint32_t weight;
    std::uint32_t fault;  // has to be allowed; 0: always is
    void (RandomHistory::*happen)(Life& life);
};

const RandomHistory::Kind RandomHistory::kKinds[] = {
    {1000, 0, &RandomHistory::publishNew},
    {300, 0, &RandomHistory::repeat},
    {10, 0, &RandomHistory::burst},
    {60, kServerFaults, &RandomHistory::changeServer},
    {20, kConfigChanges, &RandomHistory::changeConfig},
    {20, kRequests, &RandomHistory::request},
    {10, kKills | kRestarts, &RandomHistory::endLife},
};

RandomHistory::RandomHistory(const Settings& settings, World& world)
    : settings_(settings), chance_(Random(settings.seed).next() ^ 0x5EED) {
    furnish(world);
    schedule(5 * kSecond);
}

// Steps come in random distances, about as many as there are events.
void RandomHistory::schedule(Time now) {
    const Time mean = kDay / settings_.eventsPerDay;
    next_ = now + 1 + chance_.next() % (2 * mean);
    if (next_ >= settings_.end) {
        next_ = settings_.end;
    }
    next_ = std::min(next_, settings_.until);
}

void RandomHistory::step(Life& life) {
    checkFiles(life);
    if (life.now() >= settings_.until || phase_ == 1) {
        next_ = kNever;
        return;
    }
    if (life.now() >= settings_.end) {
        calmDown(life);
        return;
    }
    std::uint32_t all = 0;
    for (const Kind& kind : kKinds) {
        all += kind.fault == 0 || (kind.fault & settings_.faults) != 0 ? kind.weight : 0;
    }
    std::uint32_t drawn = chance_.below(all);
    schedule(life.now());  // first: the step may end this life
    for (const Kind& kind : kKinds) {
        if (kind.fault != 0 && (kind.fault & settings_.faults) == 0) {
            continue;
        }
        if (drawn < kind.weight) {
            (this->*kind.happen)(life);
            return;
        }
        drawn -= kind.weight;
    }
}

void RandomHistory::publish(Life& life, std::uint32_t event) {
    static constexpr int kLevels[] = {0, 2, 3};
    Event& known = published_[event];
    known.published = static_cast<std::uint8_t>(std::min(known.published + 1, 255));
    Sw_Log_Type record;
    record.kind = kLevels[event % 3];
    record.number = 0x00010000u + event % 50;
    record.text = kEventText + std::to_string(event);
    static_cast<void>(life.services().happenings().logRecord(record, false));
}

void RandomHistory::publishNew(Life& life) {
    published_.emplace_back();
    publish(life, events() - 1);
}

void RandomHistory::repeat(Life& life) {
    constexpr std::uint32_t kRecent = 10;
    if (published_.empty()) {
        return;
    }
    publish(life, events() - 1 - chance_.below(std::min(kRecent, events())));
}

void RandomHistory::burst(Life& life) {
    for (std::uint32_t left = 2 + chance_.below(20); left > 0; --left) {
        publishNew(life);
    }
}

void RandomHistory::changeServer(Life& life) {
    auto& servers = life.servers();
    MailServer& server = servers[chance_.below(static_cast<std::uint32_t>(servers.size()))];
    server.manner = drawManner(chance_);
    life.tell(server.name + " changes: reach " + std::to_string(server.manner.reach) + ", slowest reply " +
              std::to_string(server.manner.slowestReply) + " ms, defers " + std::to_string(server.manner.defers));
}

void RandomHistory::changeConfig(Life& life) {
    for (std::uint32_t left = 1 + chance_.below(3); left > 0; --left) {
        const Setting& setting = settings()[chance_.below(static_cast<std::uint32_t>(settings().size()))];
        const char* const value = setting.values[chance_.below(static_cast<std::uint32_t>(setting.values.size()))];
        life.tell(std::string(setting.key) + " becomes " + value);
        static_cast<void>(life.attributes().set(setting.key, dsClient::TYPE_STRING, value));
    }
    life.manage(ManagementCode::PROFILE_CHANGE, ManagementRequest{}.encode());
}

void RandomHistory::request(Life& life) {
    static constexpr std::uint16_t kPlain[] = {ManagementCode::PROFILE_CHANGE, ManagementCode::PROFILE_PROCESSED_INFO,
                                               ManagementCode::CHANGEOVER, ManagementCode::MESG_Q_INFO};
    const std::uint32_t drawn = chance_.below(8);
    if (drawn == 0) {
        life.tell("the queue is to be cleared");
        life.manage(ManagementCode::CLEAR_QUEUE, ManagementRequest{}.encode());
    } else if (drawn < 3) {
        life.tell("a test message");
        life.manage(ManagementCode::TEST_PROFILE, TestProfileRequest{0, 0, "Operators"}.encode());
    } else {
        const std::uint16_t code = kPlain[chance_.below(4)];
        life.tell("request " + std::to_string(code));
        life.manage(code, ManagementRequest{}.encode());
    }
}

void RandomHistory::endLife(Life& life) {
    const bool kills = (settings_.faults & kKills) != 0 && ((settings_.faults & kRestarts) == 0 || chance_.oneIn(2));
    if (kills) {
        life.kill();
    }
    life.stop();
}

// Half of the lives are killed somewhere, each order of magnitude as likely as the next.
std::uint64_t RandomHistory::killAtCall() {
    if ((settings_.faults & kKills) == 0 || phase_ != 0 || chance_.oneIn(2)) {
        return 0;
    }
    const std::uint64_t order = std::uint64_t{1} << chance_.below(24);
    return order + chance_.next() % order;
}

void RandomHistory::calmDown(Life& life) {
    phase_ = 1;
    next_ = std::min(settings_.end + kCalm, settings_.until);
    life.tell("all faults are over");
    for (MailServer& server : life.servers()) {
        server.manner = {};
    }
    for (const char* key : {"Global.Callhome.SMTPEnable", "Global.Callhome.SMTPEnable1"}) {
        static_cast<void>(life.attributes().set(key, dsClient::TYPE_STRING, "True"));
    }
    life.manage(ManagementCode::PROFILE_CHANGE, ManagementRequest{}.encode());
}

void RandomHistory::mailTaken(Life& life, const MailServer& /*server*/, const Mail& mail) {
    if (life.network().openDialogues != 1) {
        fail(life, "one dialogue at a time");
    }
    const std::int64_t event = eventIn(mail.text);
    const bool isOperators = std::ranges::find(mail.to, kOperator) != mail.to.end();
    if (event < 0 || !isOperators) {
        return;
    }
    if (event >= events()) {
        fail(life, "a mail of an event that there never was");
        return;
    }
    Event& known = published_[static_cast<std::size_t>(event)];
    known.mailed = static_cast<std::uint8_t>(std::min(known.mailed + 1, 255));
    checkDoubles(life, known);
}

void RandomHistory::logged(Life& life, const LogEntry& entry) {
    const bool isDaemons = (entry.component == "OrvApp" || entry.component.empty()) && entry.flags == kOrvOwnEntryFlags;
    if (isDaemons && !orvFindInCatalogue(entry.level, entry.number, entry.text)) {
        fail(life, "an entry that is not in the catalogue: " + entry.text);
    }
}

// A start lists directories by a command, which is prescribed; a poll that a signal has interrupted is tried again
// after a millisecond.
void RandomHistory::mainWaits(Life& life, const char* call) {
    const std::string_view name = call;
    if (name != "poll" && name != "waitid" && name != "nanosleep") {
        fail(life, "the main thread waits in " + std::string(call));
    }
}

// The order file lists what exists, and after a while without faults nothing waits any more. Not before the queue of a
// life is open.
void RandomHistory::checkFiles(Life& life) {
    constexpr Time kOpen = 10 * kSecond;
    if (life.now() < later(life.began(), kOpen)) {
        return;
    }
    const Aside aside;
    const std::string problem = queueFilesProblem(host_root());
    if (!problem.empty()) {
        fail(life, problem);
    }
    const unsigned waiting = waitingEntries(host_root());
    if (phase_ == 1 && waiting > 0 && life.now() < settings_.until) {
        fail(life, std::to_string(waiting) + " entries wait for ever");
    }
}

// Each end of a life, and each reply that did not come as it should, may have one mail sent once more.
void RandomHistory::checkDoubles(Life& life, Event& event) {
    if (event.mailed > event.published + event.excess) {
        ++event.excess;
        ++doubled_;
    }
    if (doubled_ > life.world().lives - 1 + life.world().troubles + life.network().troubles) {
        fail(life, "a mail comes twice");
    }
}

void RandomHistory::fail(Life& life, const std::string& problem) {
    problem_ = problem_.empty() ? timeText(life.now()) + ": " + problem : problem_;
    life.tell("FAILED: " + problem);
}

void RandomHistory::encode(WireWriter& out) const {
    encode64(out, chance_.state());
    encode64(out, next_);
    out.u32(phase_).u32(doubled_).text32(problem_).u32(events());
    for (const Event& event : published_) {
        out.u16(static_cast<std::uint16_t>(event.published << 8 | event.mailed)).u16(event.excess);
    }
}

void RandomHistory::decode(WireReader& in) {
    chance_ = Random(decode64(in));
    next_ = decode64(in);
    phase_ = in.u32();
    doubled_ = in.u32();
    problem_ = in.text32();
    published_.resize(in.u32());
    for (Event& event : published_) {
        const std::uint16_t both = in.u16();
        event = {static_cast<std::uint8_t>(both >> 8), static_cast<std::uint8_t>(both),
                 static_cast<std::uint8_t>(in.u16())};
    }
}

}  // namespace box
