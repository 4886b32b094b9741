#include "platform/transport/loopback/LoopbackBus.h"

#include "Dispatcher.h"
#include "MessageCodes.h"
#include "platform/posix/Clock.h"
#include "platform/transport/loopback/LoopbackTransport.h"

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Party final : public TransportReceiver {
public:
    void receive(Hsb_Message& message) override {
        codes.push_back(message.code());
        onReceive();
    }
    void peerLeft(const Hsb_Address& process) override {
        left.push_back(process);
        onPeerLeft();
    }

    Hsb_Address address;
    std::vector<std::uint16_t> codes;
    std::vector<Hsb_Address> left;
    std::function<void()> onReceive = [] {};
    std::function<void()> onPeerLeft = [] {};
};

class LoopbackBusTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(process_.join(), 0);
        ASSERT_EQ(process_.attach(party_, party_.address), 0);
    }

    int send(std::uint16_t code) {
        Hsb_Message message(1, code);
        message.source(party_.address);
        message.destination(party_.address);
        return process_.send(message);
    }
    void sendThree() {
        for (const std::uint16_t code : std::initializer_list<std::uint16_t>{1, 2, 3}) {
            ASSERT_EQ(send(code), 0);
        }
    }
    void turn() {
        const Timeval atOnce(0, 0);
        ASSERT_GE(Dispatcher::instance()->handle_events(&atOnce), 0);
    }

    LoopbackBus bus_;
    LoopbackTransport process_{bus_};
    Party party_;
};

}  // namespace

TEST_F(LoopbackBusTest, deliversInOneTurnWhatWasSentBefore) {
    sendThree();
    EXPECT_FALSE(bus_.idle());

    turn();

    EXPECT_THAT(party_.codes, ElementsAre(1, 2, 3));
    EXPECT_TRUE(bus_.idle());
}

TEST_F(LoopbackBusTest, leavesWhatIsSentMeanwhileToTheNextTurn) {
    party_.onReceive = [this] {
        if (party_.codes.size() == 1) {
            EXPECT_EQ(send(2), 0);
        }
    };
    ASSERT_EQ(send(1), 0);

    turn();
    EXPECT_THAT(party_.codes, ElementsAre(1));
    turn();
    EXPECT_THAT(party_.codes, ElementsAre(1, 2));
}

TEST_F(LoopbackBusTest, deliversWhileAManualClockStandsStill) {
    ManualClock clock(0);
    useHostClock(&clock);
    ASSERT_EQ(send(1), 0);

    turn();

    EXPECT_THAT(party_.codes, ElementsAre(1));
    useHostClock(nullptr);
}

TEST_F(LoopbackBusTest, refusesTheSendsThatItIsAskedToRefuse) {
    bus_.refuse(LoopbackBus::messages(1, 2));

    EXPECT_EQ(send(1), 0);
    EXPECT_EQ(send(2), -1);
    EXPECT_EQ(send(2), -1);
    turn();

    EXPECT_THAT(party_.codes, ElementsAre(1));
}

TEST_F(LoopbackBusTest, refusesOnlyAsOftenAsItIsAsked) {
    bus_.refuse(LoopbackBus::any(), 2);

    EXPECT_EQ(send(1), -1);
    EXPECT_EQ(send(1), -1);
    EXPECT_EQ(send(1), 0);
}

TEST_F(LoopbackBusTest, losesTheMessagesThatItIsAskedToLose) {
    bus_.drop(LoopbackBus::messages(1, 2), 1);
    sendThree();
    ASSERT_EQ(send(2), 0);

    turn();

    EXPECT_THAT(party_.codes, ElementsAre(1, 3, 2));
}

TEST_F(LoopbackBusTest, holdsMessagesUntilTheyAreReleased) {
    bus_.hold(LoopbackBus::messages(1, 2));
    sendThree();
    turn();
    EXPECT_THAT(party_.codes, ElementsAre(1, 3));
    EXPECT_EQ(bus_.held(), 1u);
    EXPECT_TRUE(bus_.idle());

    bus_.release();
    turn();

    EXPECT_THAT(party_.codes, ElementsAre(1, 3, 2));
    EXPECT_EQ(bus_.held(), 0u);
}

TEST_F(LoopbackBusTest, releasesInTheOrderSent) {
    bus_.hold(LoopbackBus::any(), 3);
    sendThree();

    bus_.release();
    turn();

    EXPECT_THAT(party_.codes, ElementsAre(1, 2, 3));
}

TEST_F(LoopbackBusTest, releasesInReversedOrderWhenAskedTo) {
    bus_.hold(LoopbackBus::any(), 3);
    sendThree();

    bus_.releaseReversed();
    turn();

    EXPECT_THAT(party_.codes, ElementsAre(3, 2, 1));
}

TEST_F(LoopbackBusTest, releasesOneMessageAtATime) {
    bus_.hold(LoopbackBus::any(), 3);
    sendThree();

    bus_.releaseOne(1);
    bus_.releaseOne(7);
    turn();

    EXPECT_THAT(party_.codes, ElementsAre(2));
    EXPECT_EQ(bus_.held(), 2u);
}

TEST_F(LoopbackBusTest, forgetsTheHeldMessagesThatItIsAskedToForget) {
    bus_.hold(LoopbackBus::any(), 3);
    sendThree();

    bus_.dropHeld();
    bus_.release();
    turn();

    EXPECT_THAT(party_.codes, IsEmpty());
}

TEST_F(LoopbackBusTest, behavesAgainOnceItsFaultsAreCleared) {
    bus_.refuse(LoopbackBus::any());
    ASSERT_EQ(send(1), -1);

    bus_.clearFaults();

    EXPECT_EQ(send(1), 0);
}

TEST_F(LoopbackBusTest, letsTheFirstFaultThatMatchesDecide) {
    bus_.drop(LoopbackBus::messages(1, 2), 1);
    bus_.refuse(LoopbackBus::any());

    EXPECT_EQ(send(2), 0);
    EXPECT_EQ(send(2), -1);
}

TEST_F(LoopbackBusTest, choosesMessagesByTheirDestination) {
    bus_.refuse(LoopbackBus::messagesTo(ServiceAddress::NAMES));
    Hsb_Message message(1, 1);
    message.source(party_.address);
    message.destination(ServiceAddress::NAMES);

    EXPECT_EQ(process_.send(message), -1);
    EXPECT_EQ(send(1), 0);
}

TEST_F(LoopbackBusTest, showsItsObserverWhatIsSentAndNotRefused) {
    std::vector<std::uint16_t> seen;
    bus_.observe([&seen](const Hsb_Message& message) { seen.push_back(message.code()); });
    bus_.refuse(LoopbackBus::messages(1, 1));
    bus_.drop(LoopbackBus::messages(1, 2));
    bus_.hold(LoopbackBus::messages(1, 3));

    for (const std::uint16_t code : std::initializer_list<std::uint16_t>{1, 2, 3, 4}) {
        [[maybe_unused]] const int sent = send(code);
    }

    EXPECT_THAT(seen, ElementsAre(2, 3, 4));
}

TEST_F(LoopbackBusTest, refusesJoinsWhenAskedTo) {
    LoopbackTransport other(bus_);
    bus_.refuseJoins(true);
    EXPECT_EQ(other.join(), -1);

    bus_.refuseJoins(false);
    EXPECT_EQ(other.join(), 0);
}

TEST_F(LoopbackBusTest, deliversTheRestWhenAReceiverThrows) {
    party_.onReceive = [this] {
        if (party_.codes.back() == 1) {
            throw std::runtime_error("receive");
        }
    };
    sendThree();

    EXPECT_THROW(turn(), std::runtime_error);
    turn();

    EXPECT_THAT(party_.codes, ElementsAre(1, 2, 3));
}

TEST_F(LoopbackBusTest, deliversNothingOnceItIsGone) {
    auto bus = std::make_unique<LoopbackBus>();
    auto process = std::make_unique<LoopbackTransport>(*bus);
    Party party;
    ASSERT_EQ(process->join(), 0);
    ASSERT_EQ(process->attach(party, party.address), 0);
    Hsb_Message message(1, 1);
    message.destination(party.address);
    ASSERT_EQ(process->send(message), 0);

    process.reset();
    bus.reset();
    turn();

    EXPECT_THAT(party.codes, IsEmpty());
}

TEST_F(LoopbackBusTest, losesAProcessWhoseConnectionBreaks) {
    Party service;
    LoopbackTransport other(bus_);
    ASSERT_EQ(other.join(), 0);
    ASSERT_EQ(other.attachService(service, ServiceAddress::NAMES), 0);

    process_.breakConnection();
    turn();

    EXPECT_TRUE(process_.lost());
    EXPECT_EQ(send(1), -1);
    EXPECT_THAT(service.left, ElementsAre(Hsb_Address{party_.address.node, party_.address.process, 0xFFFF}));
    EXPECT_EQ(process_.join(), 0);
    EXPECT_FALSE(process_.lost());
}

TEST_F(LoopbackBusTest, doesNotTellAServiceThatTheOneBeforeItTookOff) {
    Party first;
    Party second;
    LoopbackTransport other(bus_);
    ASSERT_EQ(other.join(), 0);
    ASSERT_EQ(other.attachService(first, ServiceAddress::NAMES), 0);
    ASSERT_EQ(other.attachService(second, ServiceAddress::EVENTS), 0);
    first.onPeerLeft = [&other] { other.detach(ServiceAddress::EVENTS); };

    process_.leave();
    turn();

    EXPECT_EQ(first.left.size(), 1u);
    EXPECT_THAT(second.left, IsEmpty());
}

TEST(DefaultTransport, isNoneInProgramsOnALoopbackBus) {
    EXPECT_EQ(defaultTransport(), nullptr);
}
