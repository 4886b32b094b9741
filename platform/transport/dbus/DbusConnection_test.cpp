// Reaching a bus and asking it, and what is said when that fails.
#include "platform/transport/dbus/DbusConnection.h"

#include "testing/platform/PrivateBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <string>

using testing::IsEmpty;
using testing::StartsWith;

namespace {

using std::chrono::milliseconds;

DbusConnection::Deadline soon(milliseconds span = std::chrono::seconds(20)) {
    return std::chrono::steady_clock::now() + span;
}

class DbusConnectionTest : public testing::Test {
protected:
    DbusConnection::Settings settings(bool tellsOfWaiting = false) const {
        return {.address = bus_.address(), .tellsOfWaiting = tellsOfWaiting};
    }
    // What step says on the standard error.
    template <typename Step>
    static std::string said(const Step& step) {
        testing::internal::CaptureStderr();
        step();
        return testing::internal::GetCapturedStderr();
    }

    PrivateBus bus_;
};

TEST_F(DbusConnectionTest, isOpenOnceTheBusHasToldTheProcesssName) {
    DbusConnection connection(settings());
    EXPECT_FALSE(connection);

    ASSERT_EQ(connection.open(soon()), 0);

    EXPECT_TRUE(connection);
    EXPECT_NE(connection.self(), Hsb_Address{});
    EXPECT_EQ(connection.problem(), "");
    connection.close();
    EXPECT_FALSE(connection);
    EXPECT_EQ(connection.self(), Hsb_Address{});
}

TEST_F(DbusConnectionTest, doesNotWaitForABusThatTakesConnectionsAndSaysNothing) {
    DbusConnection connection(settings());
    bus_.suspend();

    EXPECT_EQ(connection.open(soon(milliseconds(200))), -1);

    EXPECT_EQ(connection.problem(), "no answer from the bus " + bus_.address() + ": Connection timed out");
    bus_.resume();
}

TEST_F(DbusConnectionTest, tellsOnceThatTheBusKeepsItWaitingWhenItIsToSaySo) {
    bus_.suspend();
    const std::string waiting = "hsb: waiting for the bus " + bus_.address() + "\n";
    DbusConnection talker(settings(true));
    DbusConnection other(settings());
    const auto fail = [](DbusConnection& connection) { EXPECT_EQ(connection.open(soon(milliseconds(700))), -1); };

    EXPECT_THAT(said([&] { fail(talker); }), StartsWith(waiting));
    EXPECT_THAT(said([&] { fail(talker); }), StartsWith("hsb: no answer from the bus "));
    EXPECT_THAT(said([&] { fail(other); }), StartsWith("hsb: no answer from the bus "));
    bus_.resume();
}

TEST_F(DbusConnectionTest, isClosedAgainWithoutAWordWhenItIsOpenedQuietlyInVain) {
    DbusConnection connection(settings());
    bus_.kill();

    EXPECT_EQ(said([&] { EXPECT_FALSE(connection.openQuietly(soon())); }), "");

    EXPECT_FALSE(connection);
}

TEST_F(DbusConnectionTest, findsTheProcessThatOwnsAName) {
    DbusConnection owner(settings());
    DbusConnection asking(settings());
    ASSERT_EQ(owner.open(soon()), 0);
    ASSERT_EQ(asking.open(soon()), 0);
    Hsb_Address found{1, 2, 3};

    EXPECT_EQ(asking.lookUp("hsb.Somebody", found), 0);
    EXPECT_EQ(found, (Hsb_Address{1, 2, 3})) << "nobody owns it";

    ASSERT_GE(sd_bus_request_name(&owner.bus(), "hsb.Somebody", 0), 0);
    EXPECT_EQ(asking.lookUp("hsb.Somebody", found), 0);
    EXPECT_EQ(found.node, owner.self().node);
    EXPECT_EQ(found.process, owner.self().process);
}

TEST_F(DbusConnectionTest, saysWhatTheBusDoesNotAnswer) {
    DbusConnection connection(settings());
    ASSERT_EQ(connection.open(soon()), 0);
    Hsb_Address nobody;
    bus_.kill();

    EXPECT_EQ(connection.lookUp("hsb.Somebody", nobody), -1);

    EXPECT_THAT(connection.problem(), StartsWith("cannot ask who is on the bus: "));
}

TEST_F(DbusConnectionTest, waitsNoLongerThanItIsToldTo) {
    DbusConnection connection(settings());
    ASSERT_EQ(connection.open(soon()), 0);
    const auto deadline = soon(milliseconds(50));
    int result = 0;
    while (result == 0) {  // what the bus has still to say cuts one wait short
        while (sd_bus_process(&connection.bus(), nullptr) > 0) {
        }
        result = connection.wait(deadline);
    }

    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_GE(std::chrono::steady_clock::now(), deadline);
    EXPECT_THAT(connection.problem(), IsEmpty());
}

TEST_F(DbusConnectionTest, tellsWhatBrokeIt) {
    DbusConnection connection(settings());

    EXPECT_EQ(said([&] { connection.broke("it is gone", 0); }), "hsb: it is gone\n");
    EXPECT_EQ(connection.problem(), "it is gone");
    EXPECT_EQ(said([&] { connection.broke("it broke", EPIPE); }), "hsb: it broke: Broken pipe\n");
    EXPECT_EQ(connection.problem(), "it broke: Broken pipe");
    connection.forgetProblem();
    EXPECT_EQ(connection.problem(), "");
}

struct BadAddressCase {
    const char* address;
    const char* problem;
};

class DbusBadAddress : public testing::TestWithParam<BadAddressCase> {};

TEST_P(DbusBadAddress, isNamedWithWhatIsWrong) {
    DbusConnection connection({.address = GetParam().address});

    EXPECT_EQ(connection.open(soon()), -1);

    EXPECT_EQ(connection.problem(), GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(
    Table, DbusBadAddress,
    testing::Values(BadAddressCase{"unix:path=/nowhere/at/all",
                                   "cannot connect with the bus unix:path=/nowhere/at/all: No such file or directory"},
                    BadAddressCase{"nonsense", "cannot connect with the bus nonsense: Connection refused"},
                    BadAddressCase{"unix:path=", "cannot connect with the bus unix:path=: Connection refused"}));

}  // namespace
