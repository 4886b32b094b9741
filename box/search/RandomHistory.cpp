#include "box/search/RandomHistory.h"

#include "MessageCodes.h"
#include "box/Aside.h"
#include "box/Life.h"
#include "box/search/Attachments.h"
#include "box/search/DrawnSettings.h"
#include "box/search/MemoryCalls.h"
#include "box/search/Options.h"
#include "dsClient.h"
#include "host_root.h"
#include "platform/wire/Fields.h"
#include "platform/wire/ManagementWire.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace box {

namespace {

// From the end of all faults to the end of the history: longer than the longest pause before a retry, twice.
constexpr Time kCalm = kSecond * 4 * 3600;

void addCapture(World& world) {
    const std::string key = "Global.CallhomeDB.Profile.1.";
    world.set(key + "CaptureEnable", "True");
    world.set(key + "CaptureEntries", "1");
    world.set(key + "Capture.0.Type", "Cron");
    world.set(key + "Capture.0.DayOfWeek", "Tue");
    world.set(key + "Capture.0.TimeOfDay", "22:15");
    world.set(key + "Capture.0.Interval", "1");
}

// What captures collect beside the report.
void writeLogs(const std::string& root) {
    for (const char* name : {"logfile", "logfile.1", "messages"}) {
        std::ofstream(root + "/ostrel/conf/" + name) << "what " << name << " holds\n";
    }
}

void furnish(World& world, std::uint32_t profiles) {
    world.servers = {{"mail1.example.com", "192.0.2.1", 25, {}}, {"mail2.example.com", "192.0.2.2", 2525, {}}};
    world.set("Global.Services.CallhomeEnable", "True");
    world.set("Global.Callhome.FromAddr", "switch@example.com");
    world.set("Global.Callhome.NF-SMTPAddr", "1-192.0.2.1");
    world.set("Global.Callhome.SMTPPort", "25");
    world.set("Global.Callhome.SMTPEnable", "True");
    world.set("Global.Callhome.NF-SMTPAddr1", "3-mail2.example.com");
    world.set("Global.Callhome.SMTPPort1", "2525");
    world.set("Global.Callhome.SMTPEnable1", "True");
    world.setProfile(0, {"Operators", "Info", "FullText", "Switch Operators", {Judge::kOperator}});
    world.setProfile(1, {"Service", "Critical", "ShortText", "Switch Service", {"s1@example.com", "s2@example.com"}});
    world.set("Global.CallhomeDB.NumberOfProfiles", std::to_string(profiles));
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

unsigned openDescriptors() {
    const auto all = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<unsigned>(std::distance(begin(all), end(all)));
}

unsigned filesBelow(const std::string& root) {
    const auto all = std::filesystem::recursive_directory_iterator(root);
    return static_cast<unsigned>(std::distance(begin(all), end(all)));
}

}  // namespace

// What a step may be, and how often it is drawn.
struct RandomHistory::Kind {
    std::uint32_t weight;
    std::uint32_t fault;  // has to be allowed; 0: always is
    void (RandomHistory::*happen)(Life& life);
    const char* name;
};

const RandomHistory::Kind RandomHistory::kKinds[] = {
    {1000, 0, &RandomHistory::publishNew, "new events"},
    {300, 0, &RandomHistory::repeat, "repeats"},
    {10, 0, &RandomHistory::burst, "bursts"},
    {60, kServerFaults, &RandomHistory::changeServer, "changes of mail servers"},
    {20, kConfigChanges, &RandomHistory::changeConfig, "changes of the configuration"},
    {20, kRequests, &RandomHistory::request, "requests"},
    {10, kKills | kRestarts, &RandomHistory::endLife, "orders to end and kills between calls"},
    {30, kCallFaults | kMemoryFaults, &RandomHistory::letFail, "failures drawn"},
    {10, kOddities, &RandomHistory::askWrongly, "requests of a wrong length"},
    {10, kOddities, &RandomHistory::writeOddly, "numbers written oddly"},
};

RandomHistory::RandomHistory(const Settings& settings, World& world)
    : settings_(settings), chance_(Random(settings.seed).next() ^ 0x5EED) {
    furnish(world, settings.profiles);
    if ((settings_.faults & kCaptures) != 0) {
        addCapture(world);
    }
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
    if (life.now() >= endAt_) {
        endAt_ = kNever;
        stop(life);
        if (life.now() < next_) {
            return;
        }
    }
    listen(life);
    {
        const Aside aside;
        Facts facts = factsOf(life);
        facts.root = host_root();
        facts.objects = daemonsObjects();
        if (life.now() >= countsAgain_) {
            descriptors_ = openDescriptors();
            files_ = filesBelow(host_root());
            countsAgain_ = later(life.now(), 60 * kSecond);
        }
        facts.descriptors = descriptors_;
        facts.files = files_;
        judge_.stepped(facts);
        if (phase_ == 1 && life.now() < settings_.until) {
            judge_.finished(facts);
        }
    }
    tellBroken(life);
    if (life.now() >= settings_.until || phase_ == 1) {
        next_ = kNever;
        return;
    }
    if (life.now() >= settings_.end) {
        calmDown(life);
        return;
    }
    schedule(life.now());  // first: the step may end this life
    ++step_;
    // Of its own, so that what follows is the same without it.
    dice_ = chance_.branch();
    if ((settings_.faults & kNights) != 0 && life.now() / kDay != life.began() / kDay) {
        ++happened_["restarts at midnight"];
        stop(life);
    } else if (!settings_.skip.contains(step_)) {
        happen(life);
    }
}

void RandomHistory::happen(Life& life) {
    std::uint32_t all = 0;
    for (const Kind& kind : kKinds) {
        all += kind.fault == 0 || (kind.fault & settings_.faults) != 0 ? kind.weight : 0;
    }
    std::uint32_t drawn = dice_.below(all);
    for (const Kind& kind : kKinds) {
        if (kind.fault != 0 && (kind.fault & settings_.faults) == 0) {
            continue;
        }
        if (drawn < kind.weight) {
            ++happened_[kind.name];
            (this->*kind.happen)(life);
            return;
        }
        drawn -= kind.weight;
    }
}

void RandomHistory::publish(Life& life, std::uint32_t event) {
    static constexpr int kLevels[] = {0, 2, 3};
    judge_.published(event);
    if (takesEvents(life)) {
        judge_.expectsMessage(factsOf(life));
    }
    Sw_Log_Type record;
    record.kind = kLevels[event % 3];
    record.number = 0x00010000u + event % 50;
    record.text = Judge::kEventText + std::to_string(event);
    static_cast<void>(life.services().happenings().logRecord(record, false));
}

// Long enough after its start and after every change.
bool RandomHistory::isSettled(const Life& life) const {
    constexpr Time kSettled = 10 * kSecond;
    return life.now() >= later(std::max(life.began(), settled_), kSettled);
}

// Without a mail server it takes none.
bool RandomHistory::takesEvents(Life& life) const {
    Attribute first;
    Attribute second;
    static_cast<void>(life.attributes().get("Global.Callhome.SMTPEnable", first));
    static_cast<void>(life.attributes().get("Global.Callhome.SMTPEnable1", second));
    return isSettled(life) && (first.value == "True" || second.value == "True");
}

void RandomHistory::ask(Life& life, std::uint16_t code, const std::vector<std::uint8_t>& payload) {
    const bool isFree = isSettled(life);
    settled_ = code == ManagementCode::PROFILE_CHANGE ? life.now() : settled_;
    if (life.manage(code, payload) && isFree) {
        judge_.asked(factsOf(life));
    }
}

void RandomHistory::listen(Life& life) {
    if (!std::exchange(listening_, true)) {
        life.services().management().messages().add([this](const Hsb_Message& message) {
            if (message.code() > ManagementCode::RESPONSE && message.code() <= ManagementCode::MESG_Q_INFO_RESPONSE) {
                judge_.answered();
            }
        });
    }
}

void RandomHistory::publishNew(Life& life) {
    publish(life, events_++);
}

void RandomHistory::repeat(Life& life) {
    constexpr std::uint32_t kRecent = 10;
    if (events_ == 0) {
        return;
    }
    publish(life, events_ - 1 - dice_.below(std::min(kRecent, events_)));
}

void RandomHistory::burst(Life& life) {
    for (std::uint32_t left = 2 + dice_.below(20); left > 0; --left) {
        publishNew(life);
    }
}

void RandomHistory::changeServer(Life& life) {
    auto& servers = life.servers();
    MailServer& server = servers[dice_.below(static_cast<std::uint32_t>(servers.size()))];
    server.manner = drawManner(dice_);
    life.tell(server.name + " changes: reach " + std::to_string(server.manner.reach) + ", slowest reply " +
              std::to_string(server.manner.slowestReply) + " ms, defers " + std::to_string(server.manner.defers));
}

void RandomHistory::changeConfig(Life& life) {
    for (std::uint32_t left = 1 + dice_.below(3); left > 0; --left) {
        const bool captures = (settings_.faults & kCaptures) != 0 && dice_.oneIn(3);
        const std::vector<Setting>& all = captures ? captureSettings() : settings();
        const Setting& setting = all[dice_.below(static_cast<std::uint32_t>(all.size()))];
        const char* const value = setting.values[dice_.below(static_cast<std::uint32_t>(setting.values.size()))];
        life.tell(std::string(setting.key) + " becomes " + value);
        static_cast<void>(life.attributes().set(setting.key, dsClient::TYPE_STRING, value));
    }
    ask(life, ManagementCode::PROFILE_CHANGE, encodeFields(ManagementRequest{}));
}

void RandomHistory::request(Life& life) {
    static constexpr std::uint16_t kPlain[] = {ManagementCode::PROFILE_CHANGE, ManagementCode::PROFILE_PROCESSED_INFO,
                                               ManagementCode::CHANGEOVER, ManagementCode::MESG_Q_INFO};
    const std::uint32_t drawn = dice_.below(8);
    if (drawn == 0) {
        life.tell("the queue is to be cleared");
        ask(life, ManagementCode::CLEAR_QUEUE, encodeFields(ManagementRequest{}));
    } else if (drawn < 3) {
        life.tell("a test message");
        ask(life, ManagementCode::TEST_PROFILE, encodeFields(TestProfileRequest{0, 0, "Operators"}));
    } else {
        const std::uint16_t code = kPlain[dice_.below(4)];
        life.tell("request " + std::to_string(code));
        ask(life, code, encodeFields(ManagementRequest{}));
    }
}

// A few bytes too many, or none.
void RandomHistory::askWrongly(Life& life) {
    static constexpr std::uint16_t kAll[] = {ManagementCode::PROFILE_CHANGE, ManagementCode::TEST_PROFILE,
                                             ManagementCode::CLEAR_QUEUE,    ManagementCode::PROFILE_PROCESSED_INFO,
                                             ManagementCode::CHANGEOVER,     ManagementCode::MESG_Q_INFO};
    const std::uint16_t code = kAll[dice_.below(6)];
    const std::size_t right =
        code == ManagementCode::TEST_PROFILE ? ManagementSize::TEST_REQUEST : ManagementSize::REQUEST;
    const std::size_t length = dice_.oneIn(4) ? 0 : right + 1 + dice_.below(40);
    life.tell("request " + std::to_string(code) + " with " + std::to_string(length) + " bytes");
    if (life.manage(code, std::vector<std::uint8_t>(length))) {
        judge_.askedWrongly(factsOf(life), isSettled(life));
    }
}

void RandomHistory::writeOddly(Life& life) {
    const std::vector<Setting>& all = oddSettings();
    const Setting& setting = all[dice_.below(static_cast<std::uint32_t>(all.size()))];
    const char* const value = setting.values[dice_.below(static_cast<std::uint32_t>(setting.values.size()))];
    life.tell(std::string(setting.key) + " becomes " + value);
    static_cast<void>(life.attributes().set(setting.key, dsClient::TYPE_STRING, value));
    ask(life, ManagementCode::PROFILE_CHANGE, encodeFields(ManagementRequest{}));
}

void RandomHistory::endLife(Life& life) {
    const bool kills = (settings_.faults & kKills) != 0 && ((settings_.faults & kRestarts) == 0 || dice_.oneIn(2));
    if (kills) {
        life.kill();
    }
    // Most of the time nothing is under way.
    if (dice_.oneIn(2)) {
        constexpr std::uint32_t kTwoDialogues = 40;
        endsIn_ = 1 + dice_.below(kTwoDialogues);
        life.tell("is to be told to end within a dialogue");
    } else {
        stop(life);
    }
}

void RandomHistory::stop(Life& life) {
    life.stop();
    judge_.toldToEnd(factsOf(life));
}

void RandomHistory::begins(const std::string& root) {
    judge_.begins(root);
    if ((settings_.faults & kCaptures) != 0 && lives_ == 0) {
        writeLogs(root);
    }
    dice_ = Random(Random(settings_.seed + ++lives_).next());
}

// Half of the lives are killed somewhere, each order of magnitude as likely as the next.
std::uint64_t RandomHistory::killAtCall() {
    if ((settings_.faults & kKills) == 0 || phase_ != 0 || settings_.spare.contains(lives_) || dice_.oneIn(2)) {
        return 0;
    }
    const std::uint64_t order = std::uint64_t{1} << dice_.below(24);
    return order + dice_.next() % order;
}

// A few failures in a row, near or far: each order of magnitude as likely as the next.
Trouble RandomHistory::drawTrouble(std::uint32_t faults) {
    Trouble trouble;
    const bool calls = (faults & kCallFaults) != 0 && ((faults & kMemoryFaults) == 0 || dice_.oneIn(2));
    const std::uint64_t before = dice_.next() % (std::uint64_t{1} << dice_.below(14));
    const std::uint32_t burst = 1 + dice_.below(dice_.oneIn(4) ? 20 : 3);
    (calls ? trouble.callsBefore : trouble.allocationsBefore) = before;
    (calls ? trouble.calls : trouble.allocations) = burst;
    trouble.ofOneName = dice_.oneIn(2);
    return trouble;
}

// A third of the lives begin with it.
Trouble RandomHistory::trouble() {
    const std::uint32_t faults = settings_.faults & (kCallFaults | kMemoryFaults);
    return faults != 0 && phase_ == 0 && !settings_.spare.contains(lives_) && dice_.oneIn(3) ? drawTrouble(faults)
                                                                                             : Trouble{};
}

void RandomHistory::letFail(Life& life) {
    life.letFail(drawTrouble(settings_.faults & (kCallFaults | kMemoryFaults)));
}

void RandomHistory::calmDown(Life& life) {
    phase_ = 1;
    next_ = std::min(settings_.end + kCalm, settings_.until);
    life.tell("all faults are over");
    life.letFail({});
    const bool mayBeDeaf = life.troubles().failedCalls() + life.troubles().failedAllocations() > 0;
    for (MailServer& server : life.servers()) {
        server.manner = {};
    }
    for (const char* key : {"Global.Callhome.SMTPEnable", "Global.Callhome.SMTPEnable1"}) {
        static_cast<void>(life.attributes().set(key, dsClient::TYPE_STRING, "True"));
    }
    ask(life, ManagementCode::PROFILE_CHANGE, encodeFields(ManagementRequest{}));
    endsIn_ = 0;
    if (mayBeDeaf) {
        stop(life);  // such as a life without a thread that sends: its supervisor starts it again
    }
}

void RandomHistory::mailTaken(Life& life, const MailServer& /*server*/, const Mail& mail) {
    happened_["mails of captures"] += hasAttachments(mail.text) ? 1u : 0u;
    judge_.mailTaken(factsOf(life), mail);
    tellBroken(life);
}

void RandomHistory::logged(Life& life, const LogEntry& entry) {
    judge_.logged(factsOf(life), entry);
    tellBroken(life);
}

void RandomHistory::written(Life& life, std::string_view text) {
    judge_.written(factsOf(life), text);
    tellBroken(life);
}

void RandomHistory::clientSteps(Life& life, ClientStep step, std::string_view what, Time /*at*/) {
    judge_.clientSteps(factsOf(life), step, what);
    tellBroken(life);
    if (endsIn_ > 0 && --endsIn_ == 0) {
        endAt_ = life.now();
    }
}

void RandomHistory::mainWaits(Life& life, const char* call) {
    judge_.mainWaits(factsOf(life), call);
    tellBroken(life);
}

void RandomHistory::ended(Life& life, LifeEnd how) {
    judge_.ended(factsOf(life), how == LifeEnd::kEnded);
    tellBroken(life);
    if (!judge_.problem().empty()) {
        next_ = kNever;
    }
}

Facts RandomHistory::factsOf(Life& life) {
    const World& world = life.world();
    const Troubles& troubles = life.troubles();
    Facts facts;
    facts.now = life.now();
    facts.lifeBegan = life.began();
    facts.lives = world.lives;
    facts.openDialogues = life.network().openDialogues;
    facts.troubles = world.troubles + life.network().troubles;
    facts.failedCalls = world.failedCalls + troubles.failedCalls();
    facts.failedAllocations = world.failedAllocations + troubles.failedAllocations();
    facts.memoryFailed = troubles.failedAllocations() > 0;
    facts.anythingFailed = facts.memoryFailed || troubles.failedCalls() > 0;
    return facts;
}

void RandomHistory::tellBroken(Life& life) {
    for (const std::string& news : judge_.takeNews()) {
        life.tell("FAILED: " + news);
    }
}

void RandomHistory::fields(auto& io, auto& history) {
    Random::fields(io, history.chance_);
    io(history.next_, history.phase_, history.events_, history.step_, history.lives_);
    countFields(io, history.happened_);
}

void RandomHistory::encode(FieldWriter& out) const {
    fields(out, *this);
    judge_.encode(out);
}

void RandomHistory::decode(FieldReader& in) {
    fields(in, *this);
    judge_.decode(in);
}

}  // namespace box
