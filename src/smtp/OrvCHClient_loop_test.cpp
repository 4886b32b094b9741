// How the send thread's loop ends.
#include "testing/FailingCalls.h"
#include "testing/smtp/ClientFixture.h"

#include <gmock/gmock.h>

#include <cerrno>

using testing::ElementsAre;

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
    {
        const OnCall polling(
            "poll", "", [](const CallFaults::Made& made) { return made.onMainThread ? 0 : EFAULT; }, true);
        OrvCHClient client(recording_.store(), queue_, identity_, *this);
        ASSERT_EQ(client.startThread(), 0);
        serveUntil([&] { return client.running() && client.refcnt() == 1; });
    }

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
