// Faults of a real switch, its daemon and its files: status names each, and its remedies, typed one after the
// other, end it.
#include "testing/switchctl/ProblemsTest.h"

#include <signal.h>

#include <filesystem>
#include <fstream>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST_F(Problems, ofFilesAreMendedByMovingThem) {
    const std::string queue = root() + "/ostrel/conf/orv/callHome/queues/send/";
    const auto write = [&](const char* name) { std::ofstream(queue + name) << "<OrvCHMesg>\n<DupCnt>\n"; };
    expectAllMended({
        {"foreign-file", [&] { write("core"); }},
        {"entry-unrestored",
         [&] {
             write("m77");
             restart();
         }},
    });
    EXPECT_FALSE(std::filesystem::exists(queue + "m77"));
}

TEST_F(Problems, ofAMessageThatTheQueueRefusedIsMendedByMoreRoom) {
    expectMended({"messages-refused", [&] {
                      set("Global.Callhome.FileSystemSpaceAllowed=450");
                      awaitState("ok");
                      happen();
                  }});
}

TEST_F(Problems, ofADaemonThatIsStoppedAreMendedByTheSignalThatStatusNames) {
    daemon_->signal(SIGSTOP);

    const ProcessOutcome stopped = switchctl({"status", "--json", "--timeout", "2"});

    EXPECT_EQ(stopped.status, 3);
    EXPECT_THAT(stopped.output, HasSubstr("\"id\":\"daemon-stopped\",\"state\":\"down\""));
    mend();
}

TEST_F(Problems, ofADaemonThatDiedIsThatItDoesNotRun) {
    daemon_->signal(SIGKILL);
    EXPECT_EQ(daemon_->wait(), -SIGKILL);

    EXPECT_THAT(statusWith("\"id\":\"daemon-absent\",\"state\":\"down\""), HasSubstr(",\"state\":\"down\",\"parked\""));
    EXPECT_EQ(switchctl({"status"}).status, 1);

    daemon_ = startDaemon();
    awaitState("ok");
}

TEST_F(Problems, ofAReadThatNeverEndsNeedsARestart) {
    done({"fault", "add", "refuse", "--operation", "set", "--key", "Oper.Callhome.MarkerData"});
    done({"callhome", "profile-change"});

    EXPECT_THAT(statusWith("\"id\":\"configuration-stuck\",\"state\":\"blocked\""), HasSubstr("restart orvApp"));

    restart();
    awaitState("ok");
}

TEST_F(Problems, areNoneAfterAMail) {
    happen();
    EXPECT_TRUE(server_.waitUntil([&] { return server_.mailsTaken().size() == 1; }));

    statusWith("\"parked\":1");

    const ProcessOutcome fine = switchctl({"status"});
    EXPECT_EQ(fine.status, 0);
    EXPECT_THAT(fine.output, StartsWith("CallHome can send.\ncomponents "));
    EXPECT_THAT(fine.output, HasSubstr("0 open, 1 mailed and kept to count repeats, "));
}

}  // namespace
