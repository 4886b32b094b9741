#include "testing/LoopbackSwitch.h"

#include "Dispatcher.h"
#include "Hsb.h"
#include "MessageCodes.h"
#include "dsClient.h"
#include "platform/client/HostPlatform.h"
#include "platform/wire/ManagementWire.h"
#include "switchd/services/FactoryAttributes.h"
#include "testing/Uncatalogued.h"

#include <cstdlib>
#include <iostream>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace {

void require(bool condition, std::string_view problem) {
    if (!condition) {
        throw std::runtime_error("LoopbackSwitch: " + std::string(problem));
    }
}

int turn(const Timeval& limit) {
    const int calls = Dispatcher::instance()->handle_events(&limit);
    require(calls >= 0, "the dispatcher cannot wait");
    return calls;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << "level " << line.level << " id 0x" << std::hex << line.id << std::dec << " \"" << line.text << '"';
}

LoopbackSwitch::LoopbackSwitch(TempRoot* root)
    : ownRoot_(root == nullptr ? std::make_unique<TempRoot>() : nullptr),
      root_(root == nullptr ? ownRoot_.get() : root),
      formerLogConnection_(Log_Event::instance_m) {
    useHostClock(&clock_);
    require(seedFactoryAttributes(store_) == 0, store_.reason());
    require(switchSide_.join() == 0 && services_.open() == 0, "the services cannot take their places");
    services_.management().messages().add([this](const Hsb_Message& message) {
        replies_.push_back({message.code(), {message.payload().begin(), message.payload().end()}});
    });
    Uncatalogued::forget();
    services_.log().entries().add(Uncatalogued::take);
    Log_Event::instance_m = &logConnection_;
    logConnection_.open();
    HostPlatform::useTransport(&processSide_);
    joinBus();
}

LoopbackSwitch::~LoopbackSwitch() {
    if (const std::string problem = Uncatalogued::next(); !problem.empty()) {
        std::cerr << "LoopbackSwitch: " << problem << std::endl;
        std::abort();
    }
    leaveBus();
    HostPlatform::useTransport(nullptr);
    Log_Event::instance_m = formerLogConnection_;
    services_.close();
    useHostClock(nullptr);
}

void LoopbackSwitch::set(const std::string& key, const std::string& value) {
    require(store_.set(key, dsClient::TYPE_STRING, value) == 0, store_.reason());
}

void LoopbackSwitch::unset(const std::string& key) {
    require(store_.unset(key) != StoreStatus::FAILED, store_.reason());
}

std::optional<std::string> LoopbackSwitch::attribute(std::string_view key) {
    Attribute found;
    return store_.get(key, found) == StoreStatus::OK ? std::optional(found.value) : std::nullopt;
}

void LoopbackSwitch::publishLog(int kind, std::uint32_t number, const std::string& text, std::uint32_t flags) {
    Sw_Log_Type record;
    record.kind = kind;
    record.number = number;
    record.flags = flags;
    record.text = text;
    publishLog(record);
}

void LoopbackSwitch::publishLog(const Sw_Log_Type& record) {
    require(services_.happenings().logRecord(record, record.seconds != 0) == 0, services_.happenings().reason());
    pump();
}

void LoopbackSwitch::publishState(const std::string& text) {
    require(services_.happenings().state(text) == 0, services_.happenings().reason());
    pump();
}

void LoopbackSwitch::publishAddresses(const std::vector<std::string>& addresses) {
    require(services_.happenings().addresses(addresses) == 0, services_.happenings().reason());
    pump();
}

void LoopbackSwitch::publishHostname(const std::string& name) {
    services_.happenings().hostname(name);
    pump();
}

void LoopbackSwitch::publishEvent(std::uint32_t category, std::uint32_t number, const std::vector<std::uint8_t>& data) {
    services_.happenings().raw({category, number}, data);
    pump();
}

std::vector<LogEntry> LoopbackSwitch::logEntries() {
    std::vector<LogEntry> entries;
    require(store_.readSince(forgotten_, std::numeric_limits<std::size_t>::max(), entries) == 0, store_.reason());
    return entries;
}

std::vector<LogLine> LoopbackSwitch::eventLog() {
    std::vector<LogLine> lines;
    for (LogEntry& entry : logEntries()) {
        lines.push_back({entry.level, entry.number, std::move(entry.text)});
    }
    return lines;
}

std::vector<std::string> LoopbackSwitch::eventTexts(int level) {
    std::vector<std::string> texts;
    for (LogLine& line : eventLog()) {
        if (line.level == level) {
            texts.push_back(std::move(line.text));
        }
    }
    return texts;
}

void LoopbackSwitch::forgetEventLog() {
    const std::vector<LogEntry> entries = logEntries();
    forgotten_ = entries.empty() ? forgotten_ : entries.back().id;
}

void LoopbackSwitch::send(std::uint16_t format, std::uint16_t code, std::vector<std::uint8_t> payload,
                          const std::string& component) {
    Hsb_Message message(format, code, std::move(payload));
    message.source(ServiceAddress::OPERATOR);
    message.destination(addressOf(component));
    require(switchSide_.send(message) == 0, "the bus does not take the message");
    pump();
}

std::uint32_t LoopbackSwitch::manage(std::uint16_t code, std::vector<std::uint8_t> payload,
                                     const std::string& component) {
    const std::uint32_t handle =
        services_.management().request(addressOf(component), code, payload, [](const Hsb_Message*) {});
    pump();
    return handle;
}

std::uint32_t LoopbackSwitch::testProfile(const std::string& name) {
    return manage(ManagementCode::TEST_PROFILE, encodeFields(TestProfileRequest{0, 0, name}));
}

std::vector<ManagementReply> LoopbackSwitch::takeManagementReplies() {
    return std::exchange(replies_, {});
}

Hsb_Address LoopbackSwitch::addressOf(const std::string& component) {
    const Components::Component* found = components().named(component);
    require(found != nullptr, "component " + component + " is not registered");
    return found->address;
}

void LoopbackSwitch::pump() {
    constexpr int ENDLESS = 1000000;
    int turns = 0;
    do {
        require(++turns < ENDLESS, "the loop never comes to rest");
    } while (turn(Timeval(0, 0)) > 0 || !bus_.idle());
    const std::string problem = Uncatalogued::next();
    require(problem.empty(), problem);
}

void LoopbackSwitch::tick(unsigned seconds) {
    for (; seconds > 0; --seconds) {
        clock_.advance(1000);
        pump();
    }
}

bool LoopbackSwitch::runUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    pump();
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        // What the condition looks at need not wake the loop: look again soon.
        turn(Timeval(0, 5000));
        pump();
    }
    return true;
}

void LoopbackSwitch::leaveBus() {
    Hsb::instance()->shutdown();
}

void LoopbackSwitch::joinBus() {
    require(Hsb::instance()->init(64, 0, 0) > 0, "the process cannot join the bus");
}
