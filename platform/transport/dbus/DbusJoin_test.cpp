// Joining a bus: who has to be there, and how long it may take.
#include "MessageCodes.h"
#include "platform/transport/dbus/DbusMessage.h"
#include "testing/platform/DbusTestBus.h"

#include <gmock/gmock.h>
#include <systemd/sd-bus.h>

#include <cstdlib>
#include <thread>

using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

namespace {

using Role = DbusTransport::Role;
using std::chrono::milliseconds;
using std::chrono::seconds;

// A connection without the transport, as a stranger on the bus has it.
class RawBus {
public:
    explicit RawBus(const std::string& address) {
        EXPECT_GE(sd_bus_new(&bus_), 0);
        EXPECT_GE(sd_bus_set_address(bus_, address.c_str()), 0);
        EXPECT_GE(sd_bus_set_bus_client(bus_, 1), 0);
        EXPECT_GE(sd_bus_start(bus_), 0);
        const char* name = nullptr;
        EXPECT_GE(sd_bus_get_unique_name(bus_, &name), 0);
    }
    ~RawBus() { sd_bus_flush_close_unref(bus_); }

    sd_bus* get() { return bus_; }
    // Waits for the next signal of that name.
    void awaitSignal(const char* member) {
        for (;;) {
            sd_bus_message* raw = nullptr;
            const int result = sd_bus_process(bus_, &raw);
            const DbusMessagePtr message(raw);
            if (result < 0 || (message && sd_bus_message_is_signal(raw, nullptr, member) > 0)) {
                return;
            }
            if (result == 0) {
                sd_bus_wait(bus_, 20000000);
            }
        }
    }

private:
    sd_bus* bus_ = nullptr;
};

using DbusJoin = DbusBusTest;

TEST_F(DbusJoin, clientWaitsUntilSwitchdComes) {
    RawBus other(bus_.address());
    ASSERT_GE(sd_bus_match_signal(other.get(), nullptr, "org.freedesktop.DBus", nullptr, nullptr, "NameOwnerChanged",
                                  nullptr, nullptr),
              0);
    std::thread lateSwitchd([&] {
        other.awaitSignal("NameOwnerChanged");  // The client has connected.
        sd_bus_request_name(other.get(), "hsb.Switchd", 0);
    });

    const auto joining = client();
    EXPECT_EQ(joining->join(), 0);

    lateSwitchd.join();
    EXPECT_EQ(joining->problem(), "");
}

TEST_F(DbusJoin, clientGivesUpWhenSwitchdStaysAway) {
    auto impatient = options(Role::CLIENT);
    impatient.patience = seconds(2);
    DbusTransport transport(impatient);

    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(transport.join(), -1);

    EXPECT_GE(std::chrono::steady_clock::now() - before, seconds(2));
    EXPECT_LT(std::chrono::steady_clock::now() - before, seconds(15));
    EXPECT_EQ(transport.problem(), "switchd did not come to the bus in 2 s");
}

TEST_F(DbusJoin, clientIsPatientForHalfAMinuteByDefault) {
    EXPECT_EQ(DbusTransport::Options().patience, seconds(30));
}

TEST_F(DbusJoin, switchdDoesNotWaitForItself) {
    const auto services = switchd();

    EXPECT_EQ(services->join(), 0);
}

TEST_F(DbusJoin, takesTheAddressFromTheEnvironment) {
    const auto services = switchd();
    RecordingParty names;
    ASSERT_EQ(services->join(), 0);
    ASSERT_EQ(services->attachService(names, ServiceAddress::NAMES), 0);
    ASSERT_EQ(setenv("HSB_BUS", bus_.address().c_str(), 1), 0);

    DbusTransport transport;
    EXPECT_EQ(transport.join(), 0);

    unsetenv("HSB_BUS");
}

TEST_F(DbusJoin, nothingWorksBeforeJoiningOrAfterLeaving) {
    const auto services = switchd();
    RecordingParty party;
    Hsb_Address address{1, 2, 3};
    EXPECT_EQ(services->attach(party, address), -1);
    EXPECT_EQ(services->attachService(party, ServiceAddress::NAMES), -1);
    EXPECT_EQ(services->send(mail(address, ServiceAddress::NAMES, 1)), -1);
    EXPECT_EQ(address, (Hsb_Address{1, 2, 3}));

    ASSERT_EQ(services->join(), 0);
    services->leave();
    services->leave();

    EXPECT_EQ(services->attach(party, address), -1);
    EXPECT_EQ(services->send(mail(address, ServiceAddress::NAMES, 1)), -1);
}

TEST_F(DbusJoin, ignoresCallsThatAreNotMessages) {
    const auto services = switchd();
    RecordingParty names;
    ASSERT_EQ(services->join(), 0);
    ASSERT_EQ(services->attachService(names, ServiceAddress::NAMES), 0);
    RawBus stranger(bus_.address());
    const auto call = [&](const char* member, const char* types, auto... values) {
        ASSERT_GE(sd_bus_call_method_async(stranger.get(), nullptr, "hsb.Switchd", "/hsb", "hsb.Bus", member, nullptr,
                                           nullptr, types, values...),
                  0);
    };
    call("Message", "s", "not a message");
    call("Message", "uuquuqqq", 0u, 1u, 0u, 1u, 2u, 3u, 5u, 1u);
    call("Massage", "uuquuqqqay", 0u, 1u, 0u, 1u, 2u, 3u, 5u, 1u, 0u);
    call("Message", "uuquuqqqay", 0u, 9u, 0u, 1u, 2u, 3u, 5u, 1u, 0u);  // To an address that nobody holds.
    call("Message", "uuquuqqqay", 0u, 1u, 0u, 1u, 2u, 3u, 5u, 77u, 2u, 8u, 9u);

    ASSERT_TRUE(eventually([&] { return !names.messages.empty(); }));

    ASSERT_THAT(names.messages, SizeIs(1));
    EXPECT_EQ(names.messages[0].code, 77);
    EXPECT_EQ(names.messages[0].payload, (std::vector<std::uint8_t>{8, 9}));
    EXPECT_FALSE(services->lost());
}

TEST_F(DbusJoin, processWithoutServicesDoesNotOwnTheName) {
    const auto services = switchd();
    RecordingParty names;
    ASSERT_EQ(services->join(), 0);
    ASSERT_EQ(services->attachService(names, ServiceAddress::NAMES), 0);
    services->detach(ServiceAddress::NAMES);

    RawBus other(bus_.address());
    EXPECT_GE(sd_bus_request_name(other.get(), "hsb.Switchd", 0), 0);
}

TEST_F(DbusJoin, tellsAStrangerWhatItTakes) {
    const auto services = switchd();
    RecordingParty names;
    ASSERT_EQ(services->join(), 0);
    ASSERT_EQ(services->attachService(names, ServiceAddress::NAMES), 0);
    RawBus stranger(bus_.address());
    std::string answer;
    std::thread asking([&] {
        sd_bus_error error{};
        sd_bus_call_method(stranger.get(), "hsb.Switchd", "/hsb", "hsb.Bus", "Nonsense", &error, nullptr, "");
        answer = error.message == nullptr ? "" : error.message;
        sd_bus_error_free(&error);
    });

    // The call and the stranger's thread both end once the loop has turned often enough.
    std::atomic<bool> done = false;
    std::thread waiting([&] {
        asking.join();
        done = true;
        Dispatcher::instance()->wake();
    });
    EXPECT_TRUE(eventually([&] { return done.load(); }));
    waiting.join();

    EXPECT_EQ(answer, "/hsb takes only hsb.Bus.Message(uuquuqqqay)");
}

using Claim = Transport::Claim;

TEST_F(DbusJoin, aProcessThatHasItsNameJoinsWithItAndLosesItWhenItLeaves) {
    const auto services = switchd();
    RecordingParty names;
    ASSERT_EQ(services->join(), 0);
    ASSERT_EQ(services->attachService(names, ServiceAddress::NAMES), 0);
    const auto first = client();
    const auto second = client();
    ASSERT_EQ(first->claim("OrvApp"), Claim::MINE);

    EXPECT_EQ(first->join(), 0);
    EXPECT_EQ(second->claim("OrvApp"), Claim::ANOTHERS) << "it joined on the connection that has the name";
    first->leave();

    EXPECT_EQ(second->claim("OrvApp"), Claim::MINE);
    EXPECT_EQ(first->claim("OrvApp"), Claim::ANOTHERS);
}

TEST_F(DbusJoin, aProcessThatCouldNotJoinHasNoName) {
    auto impatient = options(Role::CLIENT);
    impatient.patience = milliseconds(500);
    DbusTransport first(impatient);
    const auto second = client();
    ASSERT_EQ(first.claim("OrvApp"), Claim::MINE);

    EXPECT_EQ(first.join(), -1) << "no switchd is there";

    EXPECT_EQ(second->claim("OrvApp"), Claim::MINE);
    EXPECT_EQ(first.claim("OrvApp"), Claim::ANOTHERS);
}

TEST_F(DbusJoin, aServiceThatFoundItsNameTakenComesWhenTheNameIsFree) {
    const auto first = switchd();
    const auto second = switchd();
    RecordingParty party;
    ASSERT_EQ(first->join(), 0);
    ASSERT_EQ(second->join(), 0);
    ASSERT_EQ(first->attachService(party, ServiceAddress::NAMES), 0);
    ASSERT_EQ(second->attachService(party, ServiceAddress::NAMES), -1);

    first->leave();

    EXPECT_TRUE(eventually([&] { return second->attachService(party, ServiceAddress::NAMES) == 0; }));
}

TEST_F(DbusJoin, aNameCanBeClaimedOnceJoined) {
    const auto services = switchd();
    RecordingParty names;
    ASSERT_EQ(services->join(), 0);
    ASSERT_EQ(services->attachService(names, ServiceAddress::NAMES), 0);
    const auto joined = client();
    ASSERT_EQ(joined->join(), 0);

    EXPECT_EQ(joined->claim("OrvApp"), Claim::MINE);
    EXPECT_EQ(client()->claim("OrvApp"), Claim::ANOTHERS);
}

TEST_F(DbusJoin, aClaimWithoutABusLeavesItToTheJoinToSayWhatIsWrong) {
    bus_.kill();
    const auto transport = client();

    testing::internal::CaptureStderr();
    EXPECT_EQ(transport->claim("OrvApp"), Claim::UNKNOWN);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    testing::internal::CaptureStderr();
    EXPECT_EQ(transport->join(), -1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), StartsWith("hsb: "));
}

TEST_F(DbusJoin, aClaimAndAJoinShareTheirPatience) {
    bus_.suspend();
    DbusTransport::Options impatient = options(Role::CLIENT);
    impatient.patience = milliseconds(500);
    DbusTransport transport(impatient);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(transport.claim("OrvApp"), Claim::UNKNOWN);
    const auto claimed = std::chrono::steady_clock::now();

    EXPECT_EQ(transport.join(), -1);

    EXPECT_GE(claimed - start, milliseconds(500));
    EXPECT_LT(std::chrono::steady_clock::now() - claimed, milliseconds(400));
    EXPECT_THAT(transport.problem(), StartsWith("no answer from the bus"));
    bus_.resume();
}

}  // namespace
