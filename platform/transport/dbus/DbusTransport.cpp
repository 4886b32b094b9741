#include "platform/transport/dbus/DbusTransport.h"

#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "platform/posix/ServiceManager.h"
#include "platform/posix/guarded.h"
#include "platform/transport/dbus/DbusAddress.h"
#include "platform/transport/dbus/DbusMessage.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

using DbusAddress::NO_SLOT;
using DbusAddress::SWITCHD_NAME;

namespace {

constexpr std::chrono::seconds LEAVE_PATIENCE(2);

// A client hears of switchd only, and is not woken whenever somebody else comes or goes.
constexpr const char* SWITCHD_MATCH =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
    "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='hsb.Switchd'";
constexpr const char* EVERYBODY_MATCH =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
    "interface='org.freedesktop.DBus',member='NameOwnerChanged'";

// "30", "0.5"
std::string seconds(std::chrono::milliseconds span) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(span.count()) / 1000);
    return text;
}

bool sameProcess(const Hsb_Address& one, const Hsb_Address& other) {
    return one.node == other.node && one.process == other.process;
}

// With this the switch lets a component work.
bool isStart(const Hsb_Message& message) {
    return DbusAddress::isService(message.source()) && message.format() == MessageFormat::CMON &&
           message.code() == CmonCode::START;
}

}  // namespace

DbusTransport::DbusTransport(Options options)
    : options_(std::move(options)),
      connection_({options_.address, options_.patience, options_.role == Role::SERVICES}),
      backlog_(options_.maxQueuedMessages, options_.maxQueuedBytes) {
}

DbusTransport::~DbusTransport() {
    leave();
}

Transport::Claim DbusTransport::claim(const std::string& component) {
    return claim_.take(connection_, component, options_.patience);
}

int DbusTransport::join() {
    if (joined_) {
        return connection_.fail("this process is already on the bus");
    }
    lost_ = false;
    connection_.forgetProblem();
    connection_.patience().renew();
    int result = -1;
    try {
        result = joinSteps(std::chrono::steady_clock::now() + options_.patience - claim_.takeSpent());
    } catch (const std::bad_alloc&) {
        std::fputs("hsb: cannot join the bus: memory is short\n", stderr);
    }
    joined_ = result == 0;
    if (joined_) {
        lifeSign_.start();
    } else {
        connection_.close();
        claim_.forget();
    }
    return result;
}

int DbusTransport::joinSteps(Deadline deadline) {
    const bool waits = options_.role == Role::CLIENT;
    const bool connected = static_cast<bool>(connection_);  // by claim()
    if ((!connected && connection_.open(deadline) < 0) ||
        connection_.follow(options_.role == Role::SERVICES ? EVERYBODY_MATCH : SWITCHD_MATCH) < 0 ||
        connection_.lookUp(SWITCHD_NAME, switchd_) < 0 || (waits && awaitSwitchd(deadline) < 0)) {
        return -1;
    }
    return loop_.start(connection_.bus()) < 0 ? connection_.fail("cannot watch the connection with the bus") : 0;
}

int DbusTransport::awaitSwitchd(Deadline deadline) {
    while (switchd_ == Hsb_Address{}) {
        sd_bus_message* raw = nullptr;
        const int result = sd_bus_process(&connection_.bus(), &raw);
        const DbusMessagePtr message(raw);
        while (message && busMessage(*message) < 0 && connection_.patience().waitOut(ENOMEM) == 0) {
        }
        if (result < 0 && connection_.patience().waitOut(-result) < 0) {
            return connection_.fail("the connection with the bus broke", -result);
        }
        if (result == 0 && connection_.wait(deadline) < 0) {
            return errno == ETIMEDOUT
                       ? connection_.fail("switchd did not come to the bus in " + seconds(options_.patience) + " s")
                       : connection_.fail("waiting for switchd was cut short", errno);
        }
    }
    return 0;
}

int DbusTransport::attach(TransportReceiver& receiver, Hsb_Address& address) {
    if (!connection_) {
        return -1;
    }
    Hsb_Address candidate = connection_.self();
    for (std::uint32_t tries = 0; tries < NO_SLOT; ++tries) {
        lastSlot_ = static_cast<std::uint16_t>((lastSlot_ + 1) % NO_SLOT);
        candidate.slot = lastSlot_;
        if (parties_.emplace(keyOf(candidate), &receiver).second) {
            address = candidate;
            return 0;
        }
    }
    return -1;
}

int DbusTransport::attachService(TransportReceiver& receiver, const Hsb_Address& address) {
    if (!connection_ || options_.role != Role::SERVICES || !DbusAddress::isService(address)) {
        return -1;
    }
    const auto [party, isNew] = parties_.emplace(keyOf(address), &receiver);
    if (!isNew) {
        return -1;
    }
    if (!ownsName_ && takeName() < 0) {
        parties_.erase(party);
        return -1;
    }
    return 0;
}

void DbusTransport::detach(const Hsb_Address& address) {
    parties_.erase(keyOf(address));
    if (ownsName_ && !holdsServices()) {
        giveNameBack();
    }
}

int DbusTransport::takeName() {
    const int result = sd_bus_request_name(&connection_.bus(), SWITCHD_NAME, 0);
    if (result == -EEXIST) {
        return connection_.fail(std::string("the name ") + SWITCHD_NAME +
                                " is taken: another switchd runs on this bus");
    }
    if (result < 0) {
        return connection_.fail(std::string("cannot take the name ") + SWITCHD_NAME, -result);
    }
    ownsName_ = true;
    return 0;
}

void DbusTransport::giveNameBack() {
    sd_bus_release_name(&connection_.bus(), SWITCHD_NAME);
    ownsName_ = false;
}

// Services stand on node 0: first in the order of addresses.
bool DbusTransport::holdsServices() const {
    return !parties_.empty() && std::get<0>(parties_.begin()->first) == 0;
}

int DbusTransport::send(const Hsb_Message& message) {
    if (!connection_ || lost_) {
        return -1;
    }
    if (backlog_.full(connection_.bus())) {
        return complain(message, "too many messages wait for the bus");
    }
    const DbusMessagePtr call =
        DbusMessage::pack(connection_.bus(), DbusAddress::processName(message.destination()).data(), message);
    if (!call) {
        return complain(message, "it is too large, its address is wrong, or memory is short");
    }
    if (!backlog_.add(message.payload().size())) {
        return complain(message, std::strerror(ENOMEM));
    }
    const int result = sd_bus_send(&connection_.bus(), call.get(), nullptr);
    if (result < 0) {
        backlog_.takeBack();
        return complain(message, std::strerror(-result));
    }
    loop_.sent();
    return 0;
}

int DbusTransport::complain(const Hsb_Message& message, const char* why) {
    if (backlog_.refuse()) {
        std::fprintf(stderr, "hsb: cannot send message %u/%u to %s: %s\n", unsigned{message.format()},
                     unsigned{message.code()}, DbusAddress::processName(message.destination()).data(), why);
    }
    return -1;
}

void DbusTransport::leave() {
    if (!connection_) {
        return;
    }
    loop_.stop();
    lifeSign_.stop();
    parties_.clear();
    if (!lost_) {
        flush(std::chrono::steady_clock::now() + LEAVE_PATIENCE);
    }
    connection_.close();
    backlog_.clear();
    switchd_ = Hsb_Address{};
    ownsName_ = joined_ = false;
    claim_.forget();
}

// What was sent before leaving still goes out, unless the bus daemon does not take it.
void DbusTransport::flush(Deadline deadline) {
    sd_bus* const bus = &connection_.bus();
    std::uint64_t queued = 0;
    while (sd_bus_get_n_queued_write(bus, &queued) >= 0 && queued > 0 && std::chrono::steady_clock::now() < deadline) {
        sd_bus_message* raw = nullptr;
        const int result = sd_bus_process(bus, &raw);
        sd_bus_message_unref(raw);
        if (result > 0) {
            connection_.patience().renew();
        } else if (result < 0 ? connection_.patience().waitOut(-result) < 0 : connection_.wait(deadline) < 0) {
            return;
        }
    }
}

int DbusTransport::busMessage(sd_bus_message& message) {
    if (DbusMessage::isOurs(message)) {
        return deliver(message);
    }
    if (sd_bus_message_is_signal(&message, "org.freedesktop.DBus", "NameOwnerChanged") > 0) {
        return nameOwnerChanged(message);
    }
    if (sd_bus_message_is_method_call(&message, nullptr, nullptr) > 0 &&
        sd_bus_message_get_expect_reply(&message) > 0) {
        sd_bus_reply_method_errorf(&message, SD_BUS_ERROR_UNKNOWN_METHOD, "%s takes only %s.%s(%s)", DbusMessage::PATH,
                                   DbusMessage::INTERFACE, DbusMessage::MEMBER, DbusMessage::SIGNATURE);
    }
    return 0;
}

int DbusTransport::deliver(sd_bus_message& call) {
    Hsb_Message message;
    Hsb_Address sender;
    if (DbusAddress::parseUniqueName(sd_bus_message_get_sender(&call), sender) < 0) {
        return 0;
    }
    if (const int result = DbusMessage::unpack(call, message); result < 0) {
        return result == -ENOMEM ? -1 : 0;
    }
    if (!DbusAddress::isService(message.source()) || !sameProcess(sender, switchd_)) {
        sender.slot = message.source().slot;
        message.source(sender);
    }
    const auto party = parties_.find(keyOf(message.destination()));
    if (party != parties_.end()) {
        const bool start = isStart(message);
        party->second->receive(message);
        if (start) {
            ServiceManager::ready();
        }
    }
    // For a caller that waits all the same, such as busctl.
    if (sd_bus_message_get_expect_reply(&call) > 0) {
        sd_bus_reply_method_return(&call, "");
    }
    return 0;
}

int DbusTransport::nameOwnerChanged(sd_bus_message& signal) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* owner = nullptr;
    const char* sender = sd_bus_message_get_sender(&signal);
    if (sender == nullptr || std::strcmp(sender, "org.freedesktop.DBus") != 0) {
        return 0;
    }
    sd_bus_message_rewind(&signal, 1);
    if (const int result = sd_bus_message_read(&signal, "sss", &name, &before, &owner); result < 0) {
        return result == -ENOMEM ? -1 : 0;
    }
    Hsb_Address process;
    if (std::strcmp(name, SWITCHD_NAME) == 0) {
        switchdChanged(owner);
    } else if (owner[0] == '\0' && DbusAddress::parseUniqueName(name, process) == 0) {
        tellServices(process);
    }
    return 0;
}

void DbusTransport::switchdChanged(const char* owner) {
    const Hsb_Address before = std::exchange(switchd_, Hsb_Address{});
    const bool isOwned = DbusAddress::parseUniqueName(owner, switchd_) == 0;
    const bool wasOwned = before != Hsb_Address{};
    if (options_.role == Role::CLIENT && wasOwned && !(isOwned && sameProcess(before, switchd_))) {
        lose("switchd has left the bus");
    }
}

// Each may take others off the bus when it is told, or fail: the rest is told all the same.
void DbusTransport::tellServices(const Hsb_Address& gone) {
    for (auto party = parties_.begin(); party != parties_.end() && std::get<0>(party->first) == 0;) {
        const Key key = party->first;
        guarded("a service", [&] { party->second->peerLeft(gone); });
        party = parties_.upper_bound(key);
    }
}

void DbusTransport::busLost(int error) noexcept {
    lose("the connection with the bus broke", error);
}

// That it is lost comes first: all else may fail for want of memory.
void DbusTransport::lose(const char* what, int error) noexcept {
    if (lost_) {
        return;
    }
    lost_ = true;
    loop_.stop();
    lifeSign_.stop();
    connection_.broke(what, error);
}
