// A daemon as it runs on a switch: a process of its own on a real bus, which nobody can feed with files.
#include "testing/app/ListeningPorts.h"
#include "testing/platform/PrivateBus.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace {

// A child process on the bus; it does not outlive the test.
class Child {
public:
    Child(const PrivateBus& bus, std::vector<std::string> words) {
        std::vector<char*> pointers;
        for (std::string& word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        const std::string root = bus.directory() + "/root";
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            setenv("HSB_BUS", bus.address().c_str(), 1);
            setenv("HSB_ROOT", root.c_str(), 1);
            execv(pointers[0], pointers.data());
            _exit(127);
        }
    }
    ~Child() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return pid_; }
    int wait() {
        int status = 0;
        EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_ = -1;
};

TEST(StandbyProcess, listensAtNoPortAtAll) {
    const PrivateBus bus;
    const Child switchd(bus, {SWITCHD, "--state", bus.directory() + "/state"});
    const Child daemon(bus, {ORV_APP});
    ASSERT_EQ(Child(bus, {SWITCHCTL, "wait", "orvApp", "started", "--timeout", "60"}).wait(), 0);

    EXPECT_FALSE(socketsOf(daemon.pid()).empty());
    EXPECT_EQ(listeningPorts(daemon.pid()), std::set<std::uint16_t>());
}

}  // namespace
