// What is particular to D-Bus; what every transport does stands in DbusContract_test.cpp.
#include "MessageCodes.h"
#include "testing/platform/DbusTestBus.h"

#include <gmock/gmock.h>

#include <algorithm>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

using Role = DbusTransport::Role;

class DbusTransportTest : public DbusBusTest {
protected:
    void SetUp() override {
        ASSERT_EQ(services_->join(), 0);
        ASSERT_EQ(services_->attachService(names_, ServiceAddress::NAMES), 0);
        ASSERT_EQ(client_->join(), 0);
        ASSERT_EQ(client_->attach(party_, address_), 0);
    }

    std::unique_ptr<DbusTransport> services_ = switchd();
    std::unique_ptr<DbusTransport> client_ = client();
    RecordingParty names_;
    RecordingParty party_;
    Hsb_Address address_;
};

TEST_F(DbusTransportTest, carriesPayloadsOfAnySizeBothWays) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{312}, std::size_t{65536},
                                   std::size_t{1000003}, std::size_t{4} << 20}) {
        std::vector<std::uint8_t> payload(size);
        std::generate(payload.begin(), payload.end(),
                      [next = 0u]() mutable { return static_cast<std::uint8_t>(next++); });
        names_.messages.clear();
        party_.messages.clear();

        ASSERT_EQ(client_->send(mail(address_, ServiceAddress::NAMES, 1, payload)), 0) << size;
        ASSERT_EQ(services_->send(mail(ServiceAddress::NAMES, address_, 2, payload)), 0) << size;

        ASSERT_TRUE(eventually([&] { return !names_.messages.empty() && !party_.messages.empty(); })) << size;
        EXPECT_EQ(names_.messages[0], (Received{5, 1, address_, payload})) << size;
        EXPECT_EQ(party_.messages[0], (Received{5, 2, ServiceAddress::NAMES, payload})) << size;
    }
}

TEST_F(DbusTransportTest, refusesAPayloadThatABusWouldCutItsSenderOffFor) {
    const std::vector<std::uint8_t> payload((std::size_t{30} << 20) + 1);

    EXPECT_EQ(client_->send(mail(address_, ServiceAddress::NAMES, 1, payload)), -1);

    EXPECT_EQ(client_->send(mail(address_, ServiceAddress::NAMES, 2)), 0);
    ASSERT_TRUE(eventually([&] { return !names_.messages.empty(); }));
    EXPECT_EQ(names_.messages[0].code, 2);
}

TEST_F(DbusTransportTest, clientCannotSpeakForAServiceOrForAnotherProcess) {
    const Hsb_Address other{address_.node, address_.process + 100, 3};

    ASSERT_EQ(client_->send(mail(ServiceAddress::EVENTS, ServiceAddress::NAMES, 1)), 0);
    ASSERT_EQ(client_->send(mail(other, ServiceAddress::NAMES, 2)), 0);

    ASSERT_TRUE(eventually([&] { return names_.messages.size() == 2; }));
    EXPECT_EQ(names_.messages[0].source, (Hsb_Address{address_.node, address_.process, ServiceAddress::EVENTS.slot}));
    EXPECT_EQ(names_.messages[1].source, (Hsb_Address{address_.node, address_.process, 3}));
}

TEST_F(DbusTransportTest, clientCannotSpeakForAServiceTowardsAnotherClientEither) {
    const auto second = client();
    RecordingParty listener;
    Hsb_Address listening;
    ASSERT_EQ(second->join(), 0);
    ASSERT_EQ(second->attach(listener, listening), 0);

    ASSERT_EQ(client_->send(mail(ServiceAddress::EVENTS, listening, 1)), 0);

    ASSERT_TRUE(eventually([&] { return !listener.messages.empty(); }));
    EXPECT_EQ(listener.messages[0].source, (Hsb_Address{address_.node, address_.process, 0}));
}

TEST_F(DbusTransportTest, clientCannotHoldAServiceAddress) {
    RecordingParty impostor;

    EXPECT_EQ(client_->attachService(impostor, ServiceAddress::EVENTS), -1);
}

TEST_F(DbusTransportTest, secondSwitchdIsToldThatTheNameIsTaken) {
    const auto second = switchd();
    RecordingParty names;
    ASSERT_EQ(second->join(), 0);

    EXPECT_EQ(second->attachService(names, ServiceAddress::NAMES), -1);
    EXPECT_EQ(second->problem(), "the name hsb.Switchd is taken: another switchd runs on this bus");
}

TEST_F(DbusTransportTest, anotherSwitchdCanComeAfterTheFirstHasLeft) {
    services_->leave();
    const auto second = switchd();
    RecordingParty names;
    ASSERT_EQ(second->join(), 0);

    EXPECT_EQ(second->attachService(names, ServiceAddress::NAMES), 0);
}

TEST_F(DbusTransportTest, tellsEachServiceOnceThatAProcessHasLeft) {
    RecordingParty events;
    ASSERT_EQ(services_->attachService(events, ServiceAddress::EVENTS), 0);
    const Hsb_Address gone{address_.node, address_.process, 0xFFFF};

    ASSERT_EQ(client_->send(mail(address_, ServiceAddress::NAMES, 1)), 0);
    client_->leave();

    ASSERT_TRUE(eventually([&] { return !events.gone.empty() && !names_.gone.empty(); }));
    EXPECT_THAT(names_.gone, ElementsAre(gone));
    EXPECT_THAT(events.gone, ElementsAre(gone));
    EXPECT_THAT(names_.messages, SizeIs(1)) << "what was sent before leaving still arrives";
}

TEST_F(DbusTransportTest, keepsTimersGoingWhileMessagesPourIn) {
    constexpr int COUNT = 2000;
    std::size_t seen = 0;
    std::size_t longestRun = 0;
    for (int number = 0; number < COUNT; ++number) {
        ASSERT_EQ(client_->send(mail(address_, ServiceAddress::NAMES, 1)), 0);
    }

    std::uint64_t timer = 0;
    std::function<void()> ticking = [&] {
        longestRun = std::max(longestRun, names_.messages.size() - seen);
        seen = names_.messages.size();
        timer = Dispatcher::instance()->schedule_timer(Timeval(0, 0), false, ticking);
    };
    ticking();
    ASSERT_TRUE(eventually([&] { return names_.messages.size() == COUNT; }));
    Dispatcher::instance()->cancel_timer(timer);

    EXPECT_LE(longestRun, 2u * DbusLoop::MESSAGES_PER_TURN);
}

TEST_F(DbusTransportTest, receiverMayLeaveTheBusFromWithinAMessage) {
    names_.onMessage = [this] { services_->leave(); };
    for (int number = 0; number < 10; ++number) {
        ASSERT_EQ(client_->send(mail(address_, ServiceAddress::NAMES, 1)), 0);
    }

    ASSERT_TRUE(eventually([&] { return !names_.messages.empty(); }));

    ASSERT_TRUE(eventually([&] { return client_->lost(); }));
    EXPECT_THAT(names_.messages, SizeIs(1));
}

TEST_F(DbusTransportTest, isLostWhenTheBusDies) {
    bus_.kill();

    ASSERT_TRUE(eventually([&] { return client_->lost() && services_->lost(); }));
    EXPECT_THAT(client_->problem(), HasSubstr("the connection with the bus broke: "));
    EXPECT_EQ(client_->send(mail(address_, ServiceAddress::NAMES, 1)), -1);
    EXPECT_EQ(services_->send(mail(ServiceAddress::NAMES, address_, 1)), -1);
}

TEST_F(DbusTransportTest, clientIsLostWhenSwitchdLeaves) {
    services_->leave();

    ASSERT_TRUE(eventually([&] { return client_->lost(); }));
    EXPECT_EQ(client_->problem(), "switchd has left the bus");
    EXPECT_EQ(client_->send(mail(address_, ServiceAddress::NAMES, 1)), -1);
}

TEST_F(DbusTransportTest, lostClientCanJoinAgain) {
    services_->leave();
    ASSERT_TRUE(eventually([&] { return client_->lost(); }));
    client_->leave();

    ASSERT_EQ(services_->join(), 0);
    ASSERT_EQ(services_->attachService(names_, ServiceAddress::NAMES), 0);
    ASSERT_EQ(client_->join(), 0);

    EXPECT_FALSE(client_->lost());
    EXPECT_EQ(client_->problem(), "");
}

class DbusQueueTest : public DbusBusTest {
protected:
    void start(const DbusTransport::Options& clientOptions) {
        ASSERT_EQ(services_->join(), 0);
        ASSERT_EQ(services_->attachService(names_, ServiceAddress::NAMES), 0);
        client_ = std::make_unique<DbusTransport>(clientOptions);
        ASSERT_EQ(client_->join(), 0);
        ASSERT_EQ(client_->attach(party_, address_), 0);
    }
    // Sends numbered messages until one is refused; returns how many were taken.
    std::uint16_t sendUntilRefused(std::size_t size) {
        std::uint16_t taken = 0;
        while (taken < 60000 &&
               client_->send(mail(address_, ServiceAddress::NAMES, taken, std::vector<std::uint8_t>(size))) == 0) {
            ++taken;
        }
        return taken;
    }
    void expectAllInOrder(std::uint16_t taken) {
        ASSERT_TRUE(eventually([&] { return names_.messages.size() >= taken; }));
        for (std::uint16_t number = 0; number < taken; ++number) {
            ASSERT_EQ(names_.messages[number].code, number);
        }
    }

    std::unique_ptr<DbusTransport> services_ = switchd();
    std::unique_ptr<DbusTransport> client_;
    RecordingParty names_;
    RecordingParty party_;
    Hsb_Address address_;
};

TEST_F(DbusQueueTest, refusesBeyondTheBoundAndLosesNothingThatItTook) {
    auto bounded = options(Role::CLIENT);
    bounded.maxQueuedMessages = 50;
    start(bounded);

    bus_.suspend();
    const std::uint16_t taken = sendUntilRefused(1000);
    bus_.resume();

    EXPECT_GE(taken, 50);
    EXPECT_LT(taken, 60000);
    expectAllInOrder(taken);
    EXPECT_EQ(client_->send(mail(address_, ServiceAddress::NAMES, taken)), 0) << "there is room again";
    expectAllInOrder(static_cast<std::uint16_t>(taken + 1));
}

TEST_F(DbusQueueTest, boundsTheBytesThatWaitToo) {
    auto bounded = options(Role::CLIENT);
    bounded.maxQueuedBytes = 3000000;
    start(bounded);

    bus_.suspend();
    const std::uint16_t taken = sendUntilRefused(1000000);
    bus_.resume();

    EXPECT_GE(taken, 3);
    EXPECT_LT(taken, 100) << "the rest stands in the socket";
    expectAllInOrder(taken);
}

TEST_F(DbusQueueTest, leavingABusThatTakesNothingDoesNotHang) {
    start(options(Role::CLIENT));
    bus_.suspend();
    ASSERT_EQ(client_->send(mail(address_, ServiceAddress::NAMES, 1, std::vector<std::uint8_t>(5000000))), 0);

    const auto before = std::chrono::steady_clock::now();
    client_->leave();

    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(15));
    bus_.resume();
}

}  // namespace
