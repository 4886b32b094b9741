// How the send thread's loop ends. The program is linked with --wrap for poll().
#include "testing/smtp/ClientFixture.h"

#include <gmock/gmock.h>

#include <poll.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

using testing::ElementsAre;

namespace {

const pthread_t mainThread = pthread_self();
std::atomic<bool> pollFails{false};  // of threads beside the main one

}  // namespace

extern "C" {
int __real_poll(pollfd* polled, nfds_t count, int timeout);
int __wrap_poll(pollfd* polled, nfds_t count, int timeout) {
    if (pollFails && pthread_equal(pthread_self(), mainThread) == 0) {
        errno = EFAULT;
        return -1;
    }
    return __real_poll(polled, count, timeout);
}
}

namespace {

class OrvCHClientLoop : public ClientTest {
protected:
    // What the thread of a client has traced when it has come to its end; OrvThread's own lines left out.
    std::vector<std::string> threadTraces() {
        std::vector<std::string> lines =
            RecordingSwitch::parseTraces(recording_.root().read("/tmp/orv.out.SMTPClient"));
        std::erase_if(lines, [](const std::string& line) { return line.starts_with("OrvThread "); });
        return lines;
    }
};

}  // namespace

TEST_F(OrvCHClientLoop, tracesThatWaitingFailedAndThatItTerminates) {
    pollFails = true;
    {
        OrvCHClient client(recording_.store(), queue_, identity_, *this);
        ASSERT_EQ(client.startThread(), 0);
        serveUntil([&] { return client.running() && client.refcnt() == 1; });
    }
    pollFails = false;

    EXPECT_THAT(threadTraces(),
                ElementsAre("OrvCHClient runThread: handle_events failed\n", "OrvCHClient runThread: Terminating\n"));
}

TEST_F(OrvCHClientLoop, tracesOnlyThatItTerminatesWhenItIsStopped) {
    {
        OrvCHClient client(recording_.store(), queue_, identity_, *this);
        ASSERT_EQ(client.startThread(), 0);
        serveUntil([&] { return client.running(); });
    }

    EXPECT_THAT(threadTraces(), ElementsAre("OrvCHClient runThread: Terminating\n"));
}
