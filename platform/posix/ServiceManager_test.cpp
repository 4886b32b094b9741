// A socket of the test's own in the place of the service manager's.
#include "platform/posix/ServiceManager.h"

#include "Descriptor.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

class ServiceManagerTest : public testing::Test {
protected:
    ServiceManagerTest() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path + 1, name_.c_str() + 1, name_.size() - 1);
        EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address),
                       static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name_.size())),
                  0);
        setenv("NOTIFY_SOCKET", name_.c_str(), 1);
    }
    ~ServiceManagerTest() override {
        for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
            unsetenv(name);
        }
    }
    // A local datagram is there as soon as it has been sent; "" when there is none.
    std::string heard() const {
        char text[512];
        const ssize_t length = recv(socket_.get(), text, sizeof text, MSG_DONTWAIT);
        return length < 0 ? "" : std::string(text, static_cast<std::size_t>(length));
    }

    const std::string name_ = "@orv-service-manager-" + std::to_string(getpid());
    const Descriptor socket_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

// The only test of ready(): a process says it once.
TEST_F(ServiceManagerTest, hearsOnceThatTheProcessServes) {
    ServiceManager::ready();
    EXPECT_EQ(heard(), "READY=1\nSTATUS=serving");

    ServiceManager::ready();
    EXPECT_EQ(heard(), "");
}

TEST_F(ServiceManagerTest, hearsWordsAndSignsOfLife) {
    ServiceManager::status("waiting");
    EXPECT_EQ(heard(), "STATUS=waiting");
    ServiceManager::alive();
    EXPECT_EQ(heard(), "WATCHDOG=1");
}

TEST_F(ServiceManagerTest, hearsNothingWhereThereIsNoneOrItsNameIsOfNoUse) {
    for (const std::string& name :
         {std::string(), std::string("x"), "/" + std::string(200, 'a'), std::string("/none")}) {
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
        ServiceManager::alive();
        EXPECT_EQ(heard(), "") << name;
    }
    unsetenv("NOTIFY_SOCKET");
    ServiceManager::alive();
    EXPECT_EQ(heard(), "");
}

TEST_F(ServiceManagerTest, wantsSignsOfLifeOfTheProcessThatItWatches) {
    EXPECT_FALSE(ServiceManager::lifeSign());
    for (const char* nonsense : {"", "0", "-5", "soon"}) {
        setenv("WATCHDOG_USEC", nonsense, 1);
        EXPECT_FALSE(ServiceManager::lifeSign()) << nonsense;
    }
    setenv("WATCHDOG_USEC", "3000000", 1);
    EXPECT_EQ(ServiceManager::lifeSign(), std::chrono::microseconds(1500000));
    setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
    EXPECT_EQ(ServiceManager::lifeSign(), std::chrono::microseconds(1500000));
    setenv("WATCHDOG_PID", "1", 1);
    EXPECT_FALSE(ServiceManager::lifeSign());
}

}  // namespace
