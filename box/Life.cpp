#include "box/Life.h"

#include "Dispatcher.h"
#include "Event_Handler.h"
#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "app/OrvMain.h"
#include "box/Calls.h"
#include "dsClient.h"
#include "platform/client/HostPlatform.h"
#include "platform/posix/HostRoot.h"

#include <csignal>
#include <cstdio>
#include <limits>
#include <stdexcept>

namespace box {

namespace {

constexpr std::uint32_t kFirstProcess = 1000;

void require(bool condition, const std::string& problem) {
    if (!condition) {
        throw std::runtime_error("the switch of the box: " + problem);
    }
}

std::string entryText(const LogEntry& entry) {
    char start[64];
    std::snprintf(start, sizeof start, "level %d 0x%08x ", static_cast<int>(entry.level),
                  static_cast<unsigned>(entry.number));
    return start + entry.component + " " + entry.text;
}

std::string mailText(const Mail& mail) {
    std::string text = "takes a mail of " + std::to_string(mail.text.size()) + " bytes to";
    for (const std::string& recipient : mail.to) {
        text += " " + recipient;
    }
    return text;
}

Box::Settings settingsOf(World& world, Script& script, const std::string& root, Progress* progress) {
    Box::Settings settings;
    settings.root = root;
    script.begins(root);
    settings.now = world.now;
    settings.calendar = world.calendar;
    Random chance(world.chance);
    settings.chance = chance.next();
    world.chance = chance.state();
    settings.process = kFirstProcess + ++world.lives;
    settings.killAtCall = script.killAtCall();
    settings.record = script.record();
    settings.trouble = script.trouble();
    settings.progress = progress;
    return settings;
}

}  // namespace

// The script's steps come to the daemon's main loop like anything else that it waits for.
class Life::WorldClock final : public Event_Handler {
public:
    explicit WorldClock(Life& life) : life_(life) {
        struct Due final : BoxFile {
            explicit Due(const Script& its) : script(its) {}
            short ready(Time now) const override { return script.next() <= now ? short{POLLIN} : short{0}; }
            Time due(Time now) const override { return script.next() > now ? script.next() : kNever; }
            const Script& script;
        };
        file_ = life.box_.open(std::make_shared<Due>(life.script_));
        require(Dispatcher::instance()->register_handler(this, READ) == 0, "no clock");
    }

    int get_handle() const override { return file_; }
    int handle_input(int /*file*/) override {
        const Spared spared;
        life_.script_.step(life_);
        if (life_.script_.next() == kNever) {
            life_.pause();
        }
        return 0;
    }

private:
    Life& life_;
    int file_ = -1;
};

Life::Life(World& world, Script& script, const std::string& root, Progress* progress, Report report)
    : world_(world),
      script_(script),
      report_(std::move(report)),
      network_(
          world.servers, Random(world.networkChance),
          {[this](const MailServer& server, const std::string& what) { box_.tell(server.name, what); },
           [this](const MailServer& server, const Mail& mail) {
               ++world_.mails;
               box_.tell(server.name, mailText(mail));
               world_.timeline.take(mail.text);
               script_.mailTaken(*this, server, mail);
           },
           [this](ClientStep step, std::string_view what, Time at) { script_.clientSteps(*this, step, what, at); }}),
      box_(
          settingsOf(world, script, root, progress), world.timeline, network_,
          [this](LifeEnd how, int status, const std::string& why) { end(how, status, why); },
          [this](const char* call) { script_.mainWaits(*this, call); }) {
    keepCalls();
    box_.hearTexts([this](std::string_view text) { script_.written(*this, text); });
    setHostRoot(root);
    box_.tell("life", std::to_string(world.lives) + " begins");
    openServices();
    clock_ = std::make_unique<WorldClock>(*this);
}

Life::~Life() = default;

void Life::openServices() {
    for (const Attribute& attribute : world_.attributes) {
        require(store_.set(attribute.key, attribute.type, attribute.value) == 0, store_.reason());
    }
    for (LogEntry& entry : world_.log) {
        require(store_.append(entry) == 0, store_.reason());
    }
    require(switchSide_.join() == 0 && services_.open() == 0, "the services cannot take their places");
    services_.log().entries().add([this](const LogEntry& entry) {
        ++world_.entries;
        box_.tell("log", entryText(entry));
        script_.logged(*this, entry);
    });
    bus_.watchDeliveries([this](bool begins) {
        if (begins) {
            delivering_.emplace();
        } else {
            delivering_.reset();
        }
    });
    HostPlatform::useTransport(&daemonSide_);
}

void Life::live() {
    const int status = orvMain();
    box_.end(LifeEnd::kEnded, status, "");
}

bool Life::manage(std::uint16_t code, const std::vector<std::uint8_t>& payload) {
    const Components::Component* const daemon = services_.components().named("OrvApp");
    if (daemon != nullptr) {
        services_.management().requestOnly(daemon->address, code, payload);
    }
    return daemon != nullptr;
}

bool Life::probe() {
    const Components::Component* const daemon = services_.components().named("OrvApp");
    if (daemon == nullptr) {
        return false;
    }
    Hsb_Message message(MessageFormat::PROBE, ProbeCode::DUMP_STATE);
    message.source(ServiceAddress::OPERATOR);
    message.destination(daemon->address);
    return switchSide_.send(message) == 0;
}

void Life::stop() {
    box_.tell("life", "is told to end");
    static_cast<void>(std::raise(SIGTERM));
}

void Life::kill() {
    box_.end(LifeEnd::kKilled, 0, "");
}

void Life::pause() {
    box_.end(LifeEnd::kPaused, 0, "");
}

void Life::end(LifeEnd how, int status, const std::string& why) {
    static constexpr const char* kNames[] = {"ends", "is killed", "is over", "can never go on",
                                             "meets a call that the box does not own"};
    std::string text = kNames[static_cast<std::size_t>(how)];
    text += how == LifeEnd::kEnded ? " with " + std::to_string(status) : "";
    box_.tell("life", why.empty() ? text : text + ": " + why);
    script_.ended(*this, how);
    world_.now = box_.now();
    world_.networkChance = network_.randomState();
    world_.calls += box_.calls();
    world_.troubles += network_.troubles;
    world_.failedCalls += box_.troubles().failedCalls();
    world_.failedAllocations += box_.troubles().failedAllocations();
    world_.kills += how == LifeEnd::kKilled ? 1 : 0;
    world_.servers = network_.servers();
    world_.attributes.clear();
    world_.log.clear();
    static_cast<void>(store_.list("", world_.attributes));
    static_cast<void>(store_.readSince(0, std::numeric_limits<std::size_t>::max(), world_.log));
    report_(how, status, why);
}

}  // namespace box
