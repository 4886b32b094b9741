// A daemon as it runs on a switch: a process of its own on a real bus, which nobody can feed with files.
#include "testing/app/ListeningPorts.h"
#include "testing/platform/Child.h"
#include "testing/platform/PrivateBus.h"

#include <gtest/gtest.h>

namespace {

TEST(StandbyProcess, listensAtNoPortAtAll) {
    const PrivateBus bus;
    const Environment own = {{"HSB_BUS", bus.address()}, {"HSB_ROOT", bus.directory() + "/root"}};
    const Child switchd(SWITCHD, {"--state", bus.directory() + "/state"}, own);
    const Child daemon(ORV_APP, {}, own);
    ASSERT_EQ(Child(SWITCHCTL, {"wait", "orvApp", "started", "--timeout", "20"}, own).wait(), 0);

    EXPECT_FALSE(socketsOf(daemon.pid()).empty());
    EXPECT_EQ(listeningPorts(daemon.pid()), std::set<std::uint16_t>());
}

}  // namespace
