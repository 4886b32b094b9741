// Test support: a process on a loopback bus, and parties at the addresses of the switch's services that write down
// what they are sent.
#pragma once

#include "Dispatcher.h"
#include "Hsb.h"
#include "Hsb_Component.h"
#include "Hsb_Message.h"
#include "Hsb_Slot.h"
#include "MessageCodes.h"
#include "platform/client/HostPlatform.h"
#include "platform/transport/loopback/LoopbackBus.h"
#include "platform/transport/loopback/LoopbackTransport.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// In place of a request's tag: it could not be sent.
inline constexpr std::uint32_t kNoTag = 0xFFFFFFFFu;

class TestComponent : public Hsb_Component {
public:
    explicit TestComponent(std::string name = "OrvApp") : name_(std::move(name)) {}

    int component_name(char* buffer, int length) override {
        if (length < static_cast<int>(name_.size())) {
            return -1;
        }
        std::copy(name_.begin(), name_.end(), buffer);
        return static_cast<int>(name_.size());
    }
    int handle_message(Hsb_Message* message) override {
        messages.push_back(*message);
        onMessage(*message);
        return 0;
    }
    int inserted() override {
        ++insertions;
        onInserted();
        return 0;
    }
    int removed() override {
        ++removals;
        return 0;
    }

    std::vector<Hsb_Message> messages;
    int insertions = 0;
    int removals = 0;
    std::function<void(const Hsb_Message&)> onMessage = [](const Hsb_Message&) {};
    std::function<void()> onInserted = [] {};

private:
    std::string name_;
};

class TestService final : public TransportReceiver {
public:
    void receive(Hsb_Message& message) override { messages.push_back(message); }

    std::vector<Hsb_Message> messages;
};

// The switch is there; the process has not joined the bus yet.
class ClientTest : public testing::Test {
protected:
    using Bytes = std::vector<std::uint8_t>;

    ClientTest() {
        HostPlatform::useTransport(&process_);
        EXPECT_EQ(switch_.join(), 0);
        for (const auto& [service, address] : {std::pair{&names_, ServiceAddress::NAMES},
                                               {&events_, ServiceAddress::EVENTS},
                                               {&attributes_, ServiceAddress::ATTRIBUTES},
                                               {&monitor_, ServiceAddress::MONITOR},
                                               {&management_, ServiceAddress::MANAGEMENT},
                                               {&eventLog_, ServiceAddress::EVENT_LOG}}) {
            EXPECT_EQ(switch_.attachService(*service, address), 0);
        }
    }
    ~ClientTest() override {
        Hsb::instance()->shutdown();
        HostPlatform::useTransport(nullptr);
    }

    void join() { ASSERT_GT(Hsb::instance()->init(64, 0, 0), 0); }
    void joinAndInsert() {
        join();
        ASSERT_EQ(slot_.insert(&component_), 0);
    }

    // Delivers everything that is under way.
    void deliver() {
        const Timeval atOnce(0, 0);
        while (!bus_.idle()) {
            ASSERT_GE(Dispatcher::instance()->handle_events(&atOnce), 0);
        }
    }

    // A message from a service to the component in the slot.
    void sendToComponent(const Hsb_Address& service, std::uint16_t format, std::uint16_t code, Bytes payload = {}) {
        Hsb_Message message(format, code, std::move(payload));
        message.source(service);
        message.destination(slot_.address());
        ASSERT_EQ(switch_.send(message), 0);
        deliver();
    }

    // What has arrived at a service, as one message from the component; fails the test when it is not one.
    Hsb_Message onlyMessageOf(TestService& service, std::uint16_t format, std::uint16_t code) {
        deliver();
        EXPECT_EQ(service.messages.size(), 1u);
        if (service.messages.size() != 1) {
            return {};
        }
        Hsb_Message message = service.messages.front();
        service.messages.clear();
        EXPECT_EQ(message.format(), format);
        EXPECT_EQ(message.code(), code);
        EXPECT_EQ(message.source(), slot_.address());
        return message;
    }

    static Bytes bytesOf(const Hsb_Message& message) { return {message.payload().begin(), message.payload().end()}; }

    LoopbackBus bus_;
    LoopbackTransport switch_{bus_};
    LoopbackTransport process_{bus_};
    TestService names_;
    TestService events_;
    TestService attributes_;
    TestService monitor_;
    TestService management_;
    TestService eventLog_;
    TestComponent component_;
    Hsb_Slot slot_;
};
