#include "switchctl/traces/DaemonProcess.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int AT_ONCE = 100;
constexpr int LOOKS = 150;

// A process of the daemon's name whose children begin and end all the time.
class BusyDaemon {
public:
    BusyDaemon() {
        int ready[2];
        EXPECT_EQ(0, pipe(ready));
        process_ = fork();
        if (process_ == 0) {
            begin(ready[1]);
        }
        close(ready[1]);
        char one = 0;
        EXPECT_EQ(1, read(ready[0], &one, 1));
        close(ready[0]);
    }
    ~BusyDaemon() {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    BusyDaemon(const BusyDaemon&) = delete;
    BusyDaemon& operator=(const BusyDaemon&) = delete;

    pid_t process() const { return process_; }

private:
    [[noreturn]] static void begin(int ready) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prctl(PR_SET_NAME, "orvApp");
        if (write(ready, "", 1) != 1) {
            _exit(1);
        }
        for (;;) {
            for (int begun = 0; begun < AT_ONCE; ++begun) {
                if (vfork() == 0) {
                    _exit(0);
                }
            }
            while (waitpid(-1, nullptr, 0) > 0) {
            }
        }
    }

    pid_t process_ = -1;
};

TEST(DaemonProcess, isFoundWhileOtherProcessesEnd) {
    const BusyDaemon daemon;
    for (int look = 0; look < LOOKS; ++look) {
        ASSERT_TRUE(DaemonProcess::find(daemon.process()).alive);
    }
}

}  // namespace
