// Messages of every format and code that nobody should send, from strangers and in the services' own names: the daemon
// goes on, and what it sends is what it would have sent.
#include "MessageCodes.h"
#include "testing/campaign/RoadCase.h"

#include "testing/BusParty.h"

#include <cstdint>
#include <iterator>

namespace {

struct Sender {
    const char* name;
    Hsb_Address address;  // a stranger's own, where there is none
    // What it says may change what the daemon knows or does: only its living on is asked for.
    bool isHeard = false;
};

constexpr Sender kSenders[] = {
    {"stranger", {}},
    {"names", ServiceAddress::NAMES, true},
    {"events", ServiceAddress::EVENTS, true},
    {"attributes", ServiceAddress::ATTRIBUTES, true},
    {"monitor", ServiceAddress::MONITOR, true},
    {"management", ServiceAddress::MANAGEMENT, true},
    {"eventLog", ServiceAddress::EVENT_LOG, true},
};

struct Format {
    const char* name;
    std::uint16_t number;
};

// All that there are, and some that there are not. Managers are not told from strangers: their requests are left out
// of what a stranger says, as they do what they say.
constexpr Format kFormats[] = {
    {"none", 0},
    {"cns", MessageFormat::CNS},
    {"event", MessageFormat::ENS_EVENT},
    {"ens", MessageFormat::ENS},
    {"ds", MessageFormat::DS},
    {"cmon", MessageFormat::CMON},
    {"probe", MessageFormat::PROBE},
    {"eventLog", MessageFormat::EVENT_LOG},
    {"management", MessageFormat::MANAGEMENT},
    {"unknown", 0x7777},
    {"last", 0xFFFF},
};

enum class Shape { kEmpty, kByte, kShort, kZeros, kOnes, kWords, kNoise, kLong };
constexpr const char* kShapes[] = {"empty", "byte", "short", "zeros", "ones", "words", "noise", "long"};

std::vector<std::uint8_t> payloadOf(Shape shape, std::mt19937& random) {
    constexpr std::size_t kUsual = 312;
    std::vector<std::uint8_t> bytes;
    switch (shape) {
        case Shape::kEmpty:
            return bytes;
        case Shape::kByte:
            return {static_cast<std::uint8_t>(random())};
        case Shape::kShort:
            bytes.resize(1 + random() % 16);
            break;
        case Shape::kZeros:
            return std::vector<std::uint8_t>(kUsual, 0);
        case Shape::kOnes:
            return std::vector<std::uint8_t>(kUsual, 0xff);
        case Shape::kWords:
            // Small numbers, as most fields hold.
            bytes.resize(kUsual, 0);
            for (std::size_t at = 3; at < bytes.size(); at += 4) {
                bytes[at] = static_cast<std::uint8_t>(random() % 16);
            }
            return bytes;
        case Shape::kNoise:
            bytes.resize(kUsual + random() % 64);
            break;
        case Shape::kLong:
            bytes.resize(60000 + random() % 8);
            break;
    }
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    return bytes;
}

struct Spoken {
    const Sender* sender;
    const Format* format;
    Shape shape;
    unsigned seed;

    std::string name() const {
        return std::string(sender->name) + "/" + format->name + "/" + kShapes[static_cast<int>(shape)] + "/" +
               std::to_string(seed);
    }
};

// Every code that a format has or might have, in the name of the sender.
void speak(const Spoken& spoken, Life& life) {
    LoopbackBus& bus = life.sw().bus();
    BusParty stranger(bus);
    std::mt19937 random(spoken.seed * 8 + static_cast<unsigned>(spoken.shape));
    const Components::Component* const daemon = life.sw().components().named("OrvApp");
    if (daemon == nullptr) {
        life.end(kNoSwitch, "the daemon has not registered");
    }
    const Hsb_Address to = daemon->address;
    for (unsigned code = 0; code < 130; ++code) {
        Hsb_Message message(spoken.format->number, static_cast<std::uint16_t>(code == 129 ? 0xFFFF : code),
                            payloadOf(spoken.shape, random));
        if (spoken.sender->address == Hsb_Address{}) {
            stranger.send(to, message.format(), message.code(), {message.payload().begin(), message.payload().end()});
        } else {
            message.source(spoken.sender->address);
            message.destination(to);
            static_cast<void>(life.sw().switchSide().send(message));
        }
        if (code % 32 == 0) {
            life.sw().tick();
        }
    }
    life.sw().tick(2);
    stranger.leave();
}

CaseResult runSpoken(const Spoken& spoken, const std::set<std::string>& forms) {
    World world;
    const LifeOutcome outcome = world.live({}, [&](Life& life) {
        life.start();
        life.mailAll(0);
        life.board().refusing = true;
        life.accept(1);
        speak(spoken, life);
        // Who is heard may have had the queue cleared, the configuration read again, or an event mailed of its own.
        life.board().accepted[1] = !spoken.sender->isHeard;
        life.board().filesLeft = spoken.sender->isHeard ? 1000 : 0;
        life.mailAll(kFirstFurtherEvent);
        life.end(kMailedAll);
    });
    std::string problems = world.judgeCounts({}, 0);
    if (!outcome.mailedAll()) {
        problems += outcome.text() + " (" + world.board().complaint.data() + ")\n" + outcome.errors;
    }
    for (const std::string& form : world.forms()) {
        if (!spoken.sender->isHeard && forms.count(form) == 0) {
            problems += "a mail that reads:\n" + form + "\n";
        }
    }
    return {problems.empty() ? Verdict::kHeld : Verdict::kFailed, problems};
}

std::set<std::string> formsUntold() {
    World world;
    world.live({}, [](Life& life) {
        life.start();
        life.mailAll(0);
        life.end(kMailedAll);
    });
    return world.forms();
}

std::vector<CampaignCase> makeCases() {
    const std::set<std::string> forms = formsUntold();
    std::vector<CampaignCase> cases;
    for (const Sender& sender : kSenders) {
        for (const Format& format : kFormats) {
            const bool obeyed = !sender.isHeard && format.number == MessageFormat::MANAGEMENT;
            for (std::size_t shape = 0; !obeyed && shape < std::size(kShapes); ++shape) {
                for (unsigned seed = 1; seed <= (longCampaign() ? 20u : 1u); ++seed) {
                    const Spoken spoken{&sender, &format, static_cast<Shape>(shape), seed};
                    cases.push_back({spoken.name(), [spoken, forms] { return runSpoken(spoken, forms); }});
                }
            }
        }
    }
    constexpr std::size_t kMost = 240;
    return sampleOf(cases, kMost);
}

}  // namespace

int main(int argc, char** argv) {
    return runCampaign("orv_campaign_messages", argc, argv, makeCases);
}
