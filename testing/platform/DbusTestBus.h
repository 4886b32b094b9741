// Vocabulary of the D-Bus transport's tests: parties that remember what they got, and a loop to wait for it.
#pragma once

#include "Dispatcher.h"
#include "Hsb_Message.h"
#include "platform/transport/dbus/DbusTransport.h"
#include "testing/platform/PrivateBus.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

// Turns the main loop until the condition holds; false when it does not within a generous time.
inline bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        const Timeval shortly(0, 50000);
        if (std::chrono::steady_clock::now() > deadline || Dispatcher::instance()->handle_events(&shortly) < 0) {
            return false;
        }
    }
    return true;
}

struct Received {
    std::uint16_t format;
    std::uint16_t code;
    Hsb_Address source;
    std::vector<std::uint8_t> payload;

    friend bool operator==(const Received&, const Received&) = default;
};

class RecordingParty final : public TransportReceiver {
public:
    void receive(Hsb_Message& message) override {
        const auto payload = message.payload();
        messages.push_back({message.format(), message.code(), message.source(), {payload.begin(), payload.end()}});
        if (onMessage) {
            onMessage();
        }
    }
    void peerLeft(const Hsb_Address& process) override { gone.push_back(process); }

    std::vector<Received> messages;
    std::vector<Hsb_Address> gone;
    std::function<void()> onMessage;
};

class DbusBusTest : public testing::Test {
protected:
    DbusTransport::Options options(DbusTransport::Role role) const {
        DbusTransport::Options result;
        result.role = role;
        result.address = bus_.address();
        return result;
    }
    std::unique_ptr<DbusTransport> switchd() {
        return std::make_unique<DbusTransport>(options(DbusTransport::Role::SERVICES));
    }
    std::unique_ptr<DbusTransport> client() {
        return std::make_unique<DbusTransport>(options(DbusTransport::Role::CLIENT));
    }
    static Hsb_Message mail(const Hsb_Address& from, const Hsb_Address& to, std::uint16_t code,
                            std::vector<std::uint8_t> payload = {}) {
        Hsb_Message message(5, code, std::move(payload));
        message.source(from);
        message.destination(to);
        return message;
    }

    PrivateBus bus_;
};
