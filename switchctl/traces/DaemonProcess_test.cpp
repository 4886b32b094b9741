#include "switchctl/traces/DaemonProcess.h"

#include "Descriptor.h"

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
        int ends[2] = {-1, -1};
        EXPECT_EQ(0, pipe(ends));
        const Descriptor heard(ends[0]);
        Descriptor ready(ends[1]);
        process_ = fork();
        if (process_ == 0) {
            begin(ready.get());
        }
        ready.reset();
        char one = 0;
        EXPECT_EQ(1, read(heard.get(), &one, 1));
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
