// What status makes of troubles of the real daemon: it knows them from texts that only the daemon can vouch for.
#include "testing/switchctl/SwitchProcesses.h"

#include <chrono>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

class DaemonTrouble : public SwitchProcesses {
protected:
    // status, once its output holds the text.
    std::string statusWith(const std::string& text) const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        std::string output;
        while (output.find(text) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
            output = switchctl({"status"}).output;
        }
        EXPECT_THAT(output, HasSubstr(text));
        return output;
    }
};

TEST_F(DaemonTrouble, isNoneAfterAGoodStart) {
    const auto switchd = startSwitchd();
    const auto daemon = startDaemon();
    configureWithDeadServer();

    EXPECT_THAT(statusWith("CallHome can send"), StartsWith("CallHome can send.\ncomponents "));
}

TEST_F(DaemonTrouble, ofAnEventServerThatNeverAnswersIsAQueueThatStaysShut) {
    const auto switchd = startSwitchd();
    done({"fault", "add", "silent", "--operation", "lookup", "--key", "ENS"});
    const auto daemon = startDaemon();

    EXPECT_THAT(statusWith("orvApp has not opened its queue: the event server has not answered it so far"),
                StartsWith("CallHome cannot send."));
    EXPECT_EQ(switchctl({"status"}).status, 1);
}

TEST_F(DaemonTrouble, ofAManagementThatNeverAnswersIsADaemonThatAnswersProbesOnly) {
    const auto switchd = startSwitchd();
    done({"fault", "add", "silent", "--operation", "lookup", "--key", "SM"});
    const auto daemon = startDaemon();

    const ProcessOutcome result = switchctl({"status", "--timeout", "1"});

    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.output, HasSubstr("orvApp answers its probe and no request"));
}

}  // namespace
