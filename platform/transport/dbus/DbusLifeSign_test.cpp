// What a member of the bus tells the service manager that started it.
#include "MessageCodes.h"
#include "testing/platform/DbusTestBus.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

using testing::Contains;
using testing::Not;

namespace {

constexpr const char* READY = "READY=1\nSTATUS=serving";
constexpr const char* ALIVE = "WATCHDOG=1";

class DbusLifeSignTest : public DbusBusTest {
protected:
    DbusLifeSignTest() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string name = bus_.directory() + "/notify";
        std::memcpy(address.sun_path, name.c_str(), name.size());
        EXPECT_EQ(bind(manager_.get(), reinterpret_cast<const sockaddr*>(&address),
                       static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size())),
                  0);
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
    }
    ~DbusLifeSignTest() override {
        unsetenv("NOTIFY_SOCKET");
        unsetenv("WATCHDOG_USEC");
    }
    static Hsb_Message order(const Hsb_Address& to, std::uint16_t code) {
        Hsb_Message message(MessageFormat::CMON, code, {});
        message.source(ServiceAddress::MONITOR);
        message.destination(to);
        return message;
    }
    // Whether anything is heard while the loop turns a few times.
    bool hearsAnything() {
        for (int turn = 0; turn < 10; ++turn) {
            const Timeval shortly(0, 10000);
            EXPECT_GE(Dispatcher::instance()->handle_events(&shortly), 0);
        }
        return !heard().empty();
    }
    std::vector<std::string>& heard() {
        char text[512];
        ssize_t length = 0;
        while ((length = recv(manager_.get(), text, sizeof text, MSG_DONTWAIT)) >= 0) {
            heard_.emplace_back(text, static_cast<std::size_t>(length));
        }
        return heard_;
    }

    std::vector<std::string> heard_;
    const Descriptor manager_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

// Only the services' own word counts, and only once it has arrived: the one test that a process becomes ready in.
TEST_F(DbusLifeSignTest, aComponentServesOnceTheSwitchHasStartedIt) {
    const auto services = switchd();
    const auto daemon = client();
    const auto stranger = client();
    RecordingParty monitor;
    RecordingParty party;
    RecordingParty forger;
    Hsb_Address address;
    Hsb_Address forged;
    ASSERT_EQ(services->join(), 0);
    ASSERT_EQ(services->attachService(monitor, ServiceAddress::MONITOR), 0);
    ASSERT_EQ(daemon->join(), 0);
    ASSERT_EQ(daemon->attach(party, address), 0);
    ASSERT_EQ(stranger->join(), 0);
    ASSERT_EQ(stranger->attach(forger, forged), 0);

    const Hsb_Message start = order(address, CmonCode::START);
    ASSERT_EQ(stranger->send(start), 0);
    ASSERT_EQ(services->send(order(address, CmonCode::READ_CONF)), 0);
    ASSERT_TRUE(eventually([&] { return party.messages.size() == 2; }));
    EXPECT_THAT(heard(), Not(Contains(READY)));

    ASSERT_EQ(services->send(start), 0);
    ASSERT_TRUE(eventually([&] { return party.messages.size() == 3; }));
    EXPECT_THAT(heard(), Contains(READY));
}

TEST_F(DbusLifeSignTest, goesOnAsLongAsTheLoopTurns) {
    setenv("WATCHDOG_USEC", "20000", 1);
    const auto services = switchd();
    ASSERT_EQ(services->join(), 0);

    ASSERT_TRUE(eventually([&] { return heard().size() >= 3; }));
    EXPECT_THAT(heard_, testing::Each(std::string(ALIVE)));

    services->leave();
    heard().clear();
    EXPECT_FALSE(hearsAnything());
}

TEST_F(DbusLifeSignTest, isNotGivenWhereNobodyAsksForIt) {
    const auto services = switchd();
    ASSERT_EQ(services->join(), 0);

    EXPECT_FALSE(hearsAnything());
}

TEST_F(DbusLifeSignTest, theServicesSayThatTheyWaitForTheirBus) {
    auto impatient = options(DbusTransport::Role::SERVICES);
    impatient.patience = std::chrono::milliseconds(600);
    DbusTransport transport(impatient);
    bus_.suspend();

    testing::internal::CaptureStderr();
    EXPECT_EQ(transport.join(), -1);
    const std::string said = testing::internal::GetCapturedStderr();
    bus_.resume();

    EXPECT_EQ(said, "hsb: waiting for the bus " + bus_.address() + "\nhsb: no answer from the bus " + bus_.address() +
                        ": Connection timed out\n");
    EXPECT_THAT(heard(), Contains("STATUS=waiting for the bus " + bus_.address()));
}

}  // namespace
