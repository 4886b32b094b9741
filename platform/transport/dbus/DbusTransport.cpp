#include "platform/transport/dbus/DbusTransport.h"

#include "Hsb_Message.h"
#include "platform/transport/dbus/DbusAddress.h"
#include "platform/transport/dbus/DbusMessage.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

using DbusAddress::NO_SLOT;
using DbusAddress::SWITCHD_NAME;

namespace {

constexpr std::chrono::seconds LEAVE_PATIENCE(2);

bool sameProcess(const Hsb_Address& one, const Hsb_Address& other) {
    return one.node == other.node && one.process == other.process;
}

}  // namespace

DbusTransport::DbusTransport(Options options) : options_(std::move(options)) {
}

DbusTransport::~DbusTransport() {
    leave();
}

int DbusTransport::attach(TransportReceiver& receiver, Hsb_Address& address) {
    if (!bus_) {
        return -1;
    }
    Hsb_Address candidate = self_;
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
    if (!bus_ || options_.role != Role::SERVICES || !DbusAddress::isService(address)) {
        return -1;
    }
    if (parties_.contains(keyOf(address)) || (!ownsName_ && takeName() < 0)) {
        return -1;
    }
    parties_.emplace(keyOf(address), &receiver);
    return 0;
}

void DbusTransport::detach(const Hsb_Address& address) {
    parties_.erase(keyOf(address));
    if (ownsName_ && !holdsServices()) {
        giveNameBack();
    }
}

// Services stand on node 0: first in the order of addresses.
bool DbusTransport::holdsServices() const {
    return !parties_.empty() && std::get<0>(parties_.begin()->first) == 0;
}

int DbusTransport::send(const Hsb_Message& message) {
    if (!bus_ || lost_) {
        return -1;
    }
    if (queueIsFull()) {
        return complain(message, "too many messages wait for the bus");
    }
    const DbusMessagePtr call =
        DbusMessage::pack(*bus_, DbusAddress::processName(message.destination()).data(), message);
    if (!call) {
        return complain(message, "it is too large, its address is wrong, or memory is short");
    }
    const int result = sd_bus_send(bus_.get(), call.get(), nullptr);
    if (result < 0) {
        return complain(message, std::strerror(-result));
    }
    queuedSizes_.push_back(message.payload().size());
    queuedBytes_ += message.payload().size();
    loop_.sent();
    return 0;
}

// sd-bus tells how many messages it holds but not how large they are; it sends in order, so ours are the last ones.
bool DbusTransport::queueIsFull() {
    std::uint64_t queued = 0;
    sd_bus_get_n_queued_write(bus_.get(), &queued);
    while (queuedSizes_.size() > queued) {
        queuedBytes_ -= queuedSizes_.front();
        queuedSizes_.pop_front();
    }
    // Half empty again: the next refusal is news. At the bound itself there may be one every other moment.
    refusing_ = refusing_ && queued > options_.maxQueuedMessages / 2;
    return queued >= options_.maxQueuedMessages || queuedBytes_ >= options_.maxQueuedBytes;
}

int DbusTransport::complain(const Hsb_Message& message, const char* why) {
    if (!refusing_) {
        std::fprintf(stderr, "hsb: cannot send message %u/%u to %s: %s\n", unsigned{message.format()},
                     unsigned{message.code()}, DbusAddress::processName(message.destination()).data(), why);
    }
    refusing_ = true;
    return -1;
}

void DbusTransport::leave() {
    if (!bus_) {
        return;
    }
    loop_.stop();
    parties_.clear();
    if (!lost_) {
        flush(std::chrono::steady_clock::now() + LEAVE_PATIENCE);
    }
    bus_.reset();
    queuedSizes_.clear();
    queuedBytes_ = 0;
    self_ = switchd_ = Hsb_Address{};
    ownsName_ = false;
}

// What was sent before leaving still goes out, unless the bus daemon does not take it.
void DbusTransport::flush(Deadline deadline) {
    std::uint64_t queued = 0;
    while (sd_bus_get_n_queued_write(bus_.get(), &queued) >= 0 && queued > 0) {
        sd_bus_message* raw = nullptr;
        const int result = sd_bus_process(bus_.get(), &raw);
        sd_bus_message_unref(raw);
        if (result < 0 || (result == 0 && waitForBus(deadline) < 0)) {
            return;
        }
    }
}

void DbusTransport::busMessage(sd_bus_message& message) {
    if (DbusMessage::isOurs(message)) {
        deliver(message);
    } else if (sd_bus_message_is_signal(&message, "org.freedesktop.DBus", "NameOwnerChanged") > 0) {
        nameOwnerChanged(message);
    } else if (sd_bus_message_is_method_call(&message, nullptr, nullptr) > 0 &&
               sd_bus_message_get_expect_reply(&message) > 0) {
        sd_bus_reply_method_errorf(&message, SD_BUS_ERROR_UNKNOWN_METHOD, "%s takes only %s.%s(%s)", DbusMessage::PATH,
                                   DbusMessage::INTERFACE, DbusMessage::MEMBER, DbusMessage::SIGNATURE);
    }
}

void DbusTransport::deliver(sd_bus_message& call) {
    Hsb_Message message;
    Hsb_Address sender;
    if (DbusAddress::parseUniqueName(sd_bus_message_get_sender(&call), sender) < 0 ||
        DbusMessage::unpack(call, message) < 0) {
        return;
    }
    if (!DbusAddress::isService(message.source()) || !sameProcess(sender, switchd_)) {
        sender.slot = message.source().slot;
        message.source(sender);
    }
    const auto party = parties_.find(keyOf(message.destination()));
    if (party != parties_.end()) {
        party->second->receive(message);
    }
    // For a caller that waits all the same, such as busctl.
    if (sd_bus_message_get_expect_reply(&call) > 0) {
        sd_bus_reply_method_return(&call, "");
    }
}

void DbusTransport::nameOwnerChanged(sd_bus_message& signal) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* owner = nullptr;
    const char* sender = sd_bus_message_get_sender(&signal);
    if (sender == nullptr || std::strcmp(sender, "org.freedesktop.DBus") != 0 ||
        sd_bus_message_read(&signal, "sss", &name, &before, &owner) < 0) {
        return;
    }
    Hsb_Address process;
    if (std::strcmp(name, SWITCHD_NAME) == 0) {
        switchdChanged(owner);
    } else if (owner[0] == '\0' && DbusAddress::parseUniqueName(name, process) == 0) {
        tellServices(process);
    }
}

void DbusTransport::switchdChanged(const char* owner) {
    const Hsb_Address before = std::exchange(switchd_, Hsb_Address{});
    const bool isOwned = DbusAddress::parseUniqueName(owner, switchd_) == 0;
    const bool wasOwned = before != Hsb_Address{};
    if (options_.role == Role::CLIENT && wasOwned && !(isOwned && sameProcess(before, switchd_))) {
        lose("switchd has left the bus");
    }
}

void DbusTransport::tellServices(const Hsb_Address& gone) {
    std::vector<Key> services;
    for (const auto& [key, receiver] : parties_) {
        if (std::get<0>(key) == 0) {
            services.push_back(key);
        }
    }
    for (const Key& key : services) {
        const auto party = parties_.find(key);  // Another one's peerLeft() may have detached it.
        if (party != parties_.end()) {
            party->second->peerLeft(gone);
        }
    }
}

void DbusTransport::busLost(int error) {
    lose(std::string("the connection with the bus broke: ") + std::strerror(error));
}

void DbusTransport::lose(const std::string& what) {
    if (lost_) {
        return;
    }
    loop_.stop();
    lost_ = true;
    problem_ = what;
    std::fprintf(stderr, "hsb: %s\n", what.c_str());
}
