// One process a component, by its name on the bus.
#include "platform/transport/dbus/DbusClaim.h"

#include "testing/platform/PrivateBus.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

using Claim = Transport::Claim;

constexpr std::chrono::seconds PATIENCE(20);

class DbusClaimTest : public testing::Test {
protected:
    struct Process {
        explicit Process(const PrivateBus& bus) : connection({.address = bus.address()}) {}
        Claim take(const char* component) { return claim.take(connection, component, PATIENCE); }

        DbusConnection connection;
        DbusClaim claim;
    };

    PrivateBus bus_;
    Process first_{bus_};
    Process second_{bus_};
};

TEST_F(DbusClaimTest, aComponentsNameIsOneProcesss) {
    EXPECT_EQ(first_.take("OrvApp"), Claim::MINE);
    EXPECT_EQ(first_.take("OrvApp"), Claim::MINE) << "it has it already";
    EXPECT_EQ(second_.take("OrvApp"), Claim::ANOTHERS);
    EXPECT_GE(second_.claim.takeSpent(), std::chrono::seconds(2)) << "its holder may be about to go";
    EXPECT_EQ(second_.claim.takeSpent(), std::chrono::seconds(0)) << "told once";
    EXPECT_EQ(second_.take("Other"), Claim::MINE);
}

TEST_F(DbusClaimTest, theNameOfAProcessThatHasGoneIsFree) {
    ASSERT_EQ(first_.take("OrvApp"), Claim::MINE);

    first_.connection.close();
    first_.claim.forget();

    EXPECT_EQ(second_.take("OrvApp"), Claim::MINE);
}

TEST_F(DbusClaimTest, aConnectionThatIsOpenIsKept) {
    ASSERT_EQ(first_.connection.open(std::chrono::steady_clock::now() + PATIENCE), 0);
    const Hsb_Address self = first_.connection.self();

    EXPECT_EQ(first_.take("OrvApp"), Claim::MINE);

    EXPECT_EQ(first_.connection.self(), self);
}

TEST_F(DbusClaimTest, withoutABusNobodyKnows) {
    bus_.kill();

    EXPECT_EQ(first_.take("OrvApp"), Claim::UNKNOWN);

    EXPECT_FALSE(first_.connection);
}

TEST_F(DbusClaimTest, aNameThatTheBusRefusesIsUnknownAndSaid) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(first_.take("not a name"), Claim::UNKNOWN);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "hsb: cannot take the name hsb.not a name against a second daemon: Invalid argument\n");
}

}  // namespace
