// A process on the bus whose memory is short at the wrong moment: it is served on, or it ends; it is never deaf.
#include "Hsb.h"
#include "Hsb_Component.h"
#include "Hsb_Slot.h"
#include "MessageCodes.h"
#include "platform/client/HostPlatform.h"
#include "testing/FailingCalls.h"
#include "testing/platform/DbusTestBus.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>

namespace {

constexpr unsigned BURSTS[] = {1, 5, 50};
constexpr int MANY = 100;  // messages; more than one turn takes

// Counts without memory, and ends Hsb::handle_events when it has what its test waits for.
class CountingComponent final : public Hsb_Component {
public:
    int component_name(char* buffer, int length) override {
        if (length < 1) {
            return -1;
        }
        buffer[0] = 'c';
        return 1;
    }
    int handle_message(Hsb_Message* message) override {
        inOrder = inOrder && message->code() == received;
        if (++received == endsAt) {
            raise(SIGTERM);
        }
        return 0;
    }

    int received = 0;
    int endsAt = 0;
    bool inOrder = true;
};

// switchd and a program with one component, each with a connection of its own.
class Program {
public:
    Program() {
        DbusTransport::Options options;
        options.address = bus.address();
        client = std::make_unique<DbusTransport>(options);
        options.role = DbusTransport::Role::SERVICES;
        services = std::make_unique<DbusTransport>(options);
        HostPlatform::useTransport(client.get());
        if (services->join() < 0 || services->attachService(names, ServiceAddress::NAMES) < 0 ||
            Hsb::instance()->init(64, 0, 0) <= 0 || slot.insert(&component) < 0) {
            throw std::runtime_error("the program does not start");
        }
    }
    ~Program() {
        Hsb::instance()->shutdown();
        HostPlatform::useTransport(nullptr);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // Numbered messages from a service to the component.
    void send(int count) {
        for (int number = 0; number < count; ++number) {
            Hsb_Message message(5, static_cast<std::uint16_t>(number), std::vector<std::uint8_t>(1000));
            message.source(ServiceAddress::NAMES);
            message.destination(slot.address());
            ASSERT_EQ(services->send(message), 0);
        }
    }
    // Serves until so many messages have come. What Hsb::handle_events has returned.
    int serve(int messages = 0) {
        component.received = 0;
        component.endsAt = messages;
        const Timeval limit(20, 0);
        return Hsb::instance()->handle_events(&limit);
    }

    PrivateBus bus;
    std::unique_ptr<DbusTransport> services;
    std::unique_ptr<DbusTransport> client;
    RecordingParty names;
    CountingComponent component;
    Hsb_Slot slot;
};

struct EndCase {
    const char* name;
    void (*happens)(Program&);
};

constexpr EndCase ENDS[] = {
    {"theBusDies", [](Program& program) { program.bus.kill(); }},
    {"theBusDiesWhileMessagesFlow",
     [](Program& program) {
         program.send(MANY);
         ASSERT_EQ(program.serve(1), 0);
         program.bus.kill();
     }},
    {"switchdLeaves", [](Program& program) { program.services->leave(); }},
};

class ShortMemory : public testing::TestWithParam<unsigned> {};

class ShortMemoryAtTheEnd : public testing::TestWithParam<std::tuple<EndCase, unsigned>> {};

// Long bursts overlap, and each takes its time.
unsigned strideOf(unsigned burst) {
    return burst > 5 ? 10 : 1;
}

}  // namespace

TEST_P(ShortMemoryAtTheEnd, endsTheProgram) {
    const auto& [end, burst] = GetParam();
    bool struck = true;
    for (unsigned first = 1; struck; first += strideOf(burst)) {
        Program program;
        end.happens(program);
        if (HasFatalFailure()) {
            return;
        }
        int result = 0;
        {
            const FailingMemory failing(MemoryFaults::kAll, first - 1, burst);
            result = program.serve();
            struck = failing.failed();
        }
        ASSERT_EQ(result, -1) << "allocation " << first;
    }
}

INSTANTIATE_TEST_SUITE_P(Table, ShortMemoryAtTheEnd,
                         testing::Combine(testing::ValuesIn(ENDS), testing::ValuesIn(BURSTS)), [](const auto& param) {
                             return std::get<0>(param.param).name + std::to_string(std::get<1>(param.param));
                         });

TEST_P(ShortMemory, losesNoMessageAndNoOrder) {
    Program program;
    bool struck = true;
    for (unsigned first = 1; struck; first += strideOf(GetParam())) {
        int result = -1;
        program.send(3);
        {
            const FailingMemory failing(MemoryFaults::kAll, first - 1, GetParam());
            result = program.serve(3);
            struck = failing.failed();
        }
        ASSERT_EQ(result, 0) << "allocation " << first;
        ASSERT_EQ(program.component.received, 3) << "allocation " << first;
        ASSERT_TRUE(program.component.inOrder);
    }
}

INSTANTIATE_TEST_SUITE_P(Bursts, ShortMemory, testing::ValuesIn(BURSTS));
