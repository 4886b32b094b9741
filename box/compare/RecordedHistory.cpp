#include "box/compare/RecordedHistory.h"

#include "MessageCodes.h"
#include "box/Life.h"
#include "platform/wire/Fields.h"

#include <utility>

namespace box {
namespace {

// Without captures, which the model does not know.
void addProfile(World& world, unsigned index, const ProfileSettings& profile) {
    world.setProfile(index, profile);
    const std::string key = "Global.CallhomeDB.Profile." + std::to_string(index) + ".";
    world.set(key + "CaptureEnable", "False");
    world.set(key + "CaptureEntries", "0");
}

std::string bytesOf(std::span<const std::uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

}  // namespace

RecordedHistory::RecordedHistory(World& world, std::uint64_t seed, std::uint32_t steps)
    : random_(seed), stepsLeft_(steps), oneProfile_(random_.oneIn(2)), next_(laterStep(0)) {
    world.servers.push_back({"mail1", "192.0.2.1", 25, {}});
    world.servers.push_back({"mail2", "192.0.2.2", 2525, {}});
    world.set("Global.Services.CallhomeEnable", "True");
    world.set("Global.Callhome.FromAddr", "switch@example.com");
    world.set("Global.Callhome.NF-SMTPAddr", "1-C0000201");
    world.set("Global.Callhome.SMTPEnable", "True");
    world.set("Global.Callhome.NF-SMTPAddr1", "1-192.0.2.2");
    world.set("Global.Callhome.SMTPPort1", "2525");
    world.set("Global.Callhome.SMTPEnable1", random_.oneIn(2) ? "True" : "False");
    const char* const levels[] = {"Info", "Critical", "Alarm"};
    addProfile(
        world, 0,
        {"Profile0", levels[random_.below(3)], "FullText", "lab", {"a@example.com", "b@example.com", "c@example.com"}});
    addProfile(world, 1, {"Profile1", "Alarm", random_.oneIn(2) ? "Tsc1" : "Short", "lab", {"d@example.com"}, "700"});
    world.set("Global.CallhomeDB.NumberOfProfiles", oneProfile_ ? "1" : "2");
}

// Never at the time of a tick: the order of two things at one time is nobody's promise.
Time RecordedHistory::laterStep(Time now) {
    static constexpr std::uint32_t kLongest[] = {1, 1, 3, 10, 30, 300, 2000};
    const Time second = now / kSecond + 1 + random_.below(kLongest[random_.below(std::size(kLongest))]);
    return second * kSecond + (100 + random_.below(300)) * kMillisecond + (1 + random_.below(999)) * Time{1000};
}

void RecordedHistory::note(Life& life, Happening what, std::uint32_t number, std::string text, std::string value) {
    records_.push_back({life.now(), what, number, std::move(text), std::move(value)});
}

void RecordedHistory::logged(Life& life, const LogEntry& entry) {
    if (!std::exchange(listening_, true)) {
        began_ = life.now();
        life.services().management().messages().add([this, &life](const Hsb_Message& message) {
            note(life, Happening::kResponds, message.code(), bytesOf(message.payload()));
        });
    }
    if (entry.component == "OrvApp") {
        note(life, Happening::kLogs, entry.number, std::to_string(entry.level) + " " + entry.text);
    }
}

void RecordedHistory::clientSteps(Life&, ClientStep step, std::string_view what, Time at) {
    static constexpr Happening kKinds[] = {Happening::kConnects, Happening::kConnected, Happening::kSends,
                                           Happening::kHears, Happening::kLoses};
    records_.push_back({at, kKinds[static_cast<std::size_t>(step)], 0, std::string(what), ""});
}

void RecordedHistory::step(Life& life) {
    next_ = laterStep(life.now());
    if (stepsLeft_ == 0 && !isEarly(life)) {
        next_ = kNever;
        return;
    }
    stepsLeft_ -= stepsLeft_ > 0 ? 1 : 0;
    isEarly(life) ? event(life) : happen(life);
}

// The first tick restores the queue and takes its time: what it told, or handed to the send thread, may be under way
// still.
bool RecordedHistory::isEarly(const Life& life) const {
    return life.now() < began_ + 3 * kSecond;
}

void RecordedHistory::happen(Life& life) {
    switch (random_.below(24)) {
        case 0:
            return request(life, ManagementCode::TEST_PROFILE, "Profile" + std::to_string(random_.below(3)));
        case 1:
            return request(life, ManagementCode::PROFILE_PROCESSED_INFO, "");
        case 2:
            return request(life, ManagementCode::CHANGEOVER, "");
        case 3:
            return request(life, ManagementCode::MESG_Q_INFO, "");
        case 4:
            return random_.oneIn(4) ? request(life, ManagementCode::CLEAR_QUEUE, "") : event(life);
        case 5:
            return reconfigure(life);
        case 6:
        case 7:
        case 8:
            return changeServers(life);
        case 9:
            note(life, Happening::kState, 0, random_.oneIn(2) ? "Online" : "Offline");
            static_cast<void>(life.services().happenings().state(records_.back().text));
            return;
        case 10:
            note(life, Happening::kAddress, 0, "192.0.2." + std::to_string(100 + random_.below(3)));
            static_cast<void>(life.services().happenings().addresses({records_.back().text}));
            return;
        case 11:
            if (random_.oneIn(3)) {
                note(life, Happening::kStop, 0, "");
                next_ = laterStep(life.now() + 6 * kSecond);
                return life.stop();
            }
            return random_.oneIn(3) ? life.kill() : event(life);
        default:
            return event(life);
    }
}

void RecordedHistory::event(Life& life) {
    static constexpr const char* kTexts[] = {"a fan has stopped", "Blade fault in slot 3", "power supply 2 has failed",
                                             "port 7 is up", "100% of it"};
    Sw_Log_Type record;
    static constexpr std::int32_t kKinds[] = {0, 0, 0, 2, 3, 16};
    record.kind = kKinds[random_.below(std::size(kKinds))];
    record.number = 0x00010002;
    record.text = random_.oneIn(12) ? std::string(random_.below(227), 'x') : kTexts[random_.below(std::size(kTexts))];
    note(life, Happening::kEvent, static_cast<std::uint32_t>(record.kind), record.text);
    static_cast<void>(life.services().happenings().logRecord(record, false));
}

void RecordedHistory::request(Life& life, std::uint16_t code, const std::string& profile) {
    WireWriter payload;
    payload.u32(0).u32(0);
    std::vector<std::uint8_t> bytes = payload.take();
    if (code == ManagementCode::TEST_PROFILE) {
        bytes.insert(bytes.end(), profile.begin(), profile.end());
        bytes.resize(ManagementSize::TEST_REQUEST);
    }
    note(life, Happening::kRequest, code, profile);
    life.manage(code, bytes);
}

void RecordedHistory::set(Life& life, const std::string& key, const std::string& value) {
    note(life, Happening::kSet, 0, key, value);
    static_cast<void>(life.attributes().set(key, 1, value));
}

void RecordedHistory::reconfigure(Life& life) {
    switch (random_.below(7)) {
        case 0:
            set(life, "Global.Callhome.FilesAllowed", std::to_string(random_.below(6)));
            break;
        case 1:
            set(life, "Global.Callhome.FileSystemSpaceAllowed", std::to_string(500 + random_.below(5000)));
            break;
        case 2:
            set(life, "Global.Callhome.ThrottleDupsEnable", random_.oneIn(3) ? "False" : "True");
            break;
        case 3:
            set(life, "Global.Callhome.ThrottleDupsPeriod", std::to_string(random_.below(120)));
            break;
        case 4:
            set(life, "Global.Callhome.DiscardPeriod", std::to_string(100 + random_.below(5000)));
            break;
        case 5:
            set(life, "Global.Callhome.SMTPEnable1", random_.oneIn(2) ? "False" : "True");
            break;
        default:
            set(life, "Global.Services.CallhomeEnable", random_.oneIn(3) ? "False" : "True");
            break;
    }
    request(life, ManagementCode::PROFILE_CHANGE, "");
}

void RecordedHistory::changeServers(Life& life) {
    for (MailServer& server : life.servers()) {
        ServerManner manner;
        manner.slowestReply = random_.oneIn(3) ? 700 : 20;
        if (random_.oneIn(2)) {
            manner.reach = random_.oneIn(3) ? ServerManner::kRefusing : ServerManner::kUp;
            manner.defers = random_.oneIn(2) ? random_.below(300) : 0;
            manner.refuses = random_.oneIn(3) ? random_.below(200) : 0;
            // With a second envelope to come, what a lost RSET leads to is left open.
            manner.breaksOff = oneProfile_ && random_.oneIn(3) ? random_.below(100) : 0;
            manner.mute = oneProfile_ && random_.oneIn(4) ? random_.below(60) : 0;
        }
        server.manner = manner;
    }
}

void RecordedHistory::fields(auto& io, auto& history) {
    Random::fields(io, history.random_);
    io(history.next_, history.stepsLeft_);
    items(io, history.records_, FIELDS_OF<Record>);
}

void RecordedHistory::encode(FieldWriter& out) const {
    fields(out, *this);
}

void RecordedHistory::decode(FieldReader& in) {
    fields(in, *this);
}

}  // namespace box
