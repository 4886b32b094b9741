#include "switchd/SwitchdFiles.h"

#include "testing/TempRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class SwitchdFiles : public testing::Test {
protected:
    int install() { return installSwitchFiles(root_.path(), reason_); }
    int clish(const std::string& arguments) const {
        return std::system(
            (root_.at("/ostrel/bin/clish") + " " + arguments + " > " + root_.at("/printed") + " 2>&1").c_str());
    }

    TempRoot root_;
    std::string reason_;
};

TEST_F(SwitchdFiles, areASupportCommandAndLogs) {
    ASSERT_EQ(install(), 0) << reason_;

    EXPECT_THAT(root_.list("/ostrel/conf"), ElementsAre("logfile", "logfile.1", "messages"));
    EXPECT_THAT(root_.read("/ostrel/conf/messages"), HasSubstr("switchd: services are open\n"));
}

TEST_F(SwitchdFiles, makeASupportReportWhereCapturesLookForIt) {
    ASSERT_EQ(install(), 0) << reason_;

    EXPECT_EQ(clish("-c\"show support callhome\""), 0);

    const std::string report = root_.read("/tmp/smlCapture.txt");
    EXPECT_THAT(report, StartsWith("Support report for CallHome, "));
    for (const char* section : {"show version", "show interface brief", "show nameserver", "memory and file systems"}) {
        EXPECT_THAT(report, HasSubstr(std::string("\n===== ") + section + " =====\n"));
    }
    EXPECT_EQ(root_.read("/printed"), report);
    EXPECT_THAT(root_.list("/tmp"), ElementsAre("smlCapture.txt"));
}

TEST_F(SwitchdFiles, knowNoOtherCommand) {
    ASSERT_EQ(install(), 0) << reason_;

    EXPECT_NE(clish("-c \"reload\""), 0);
    EXPECT_EQ(root_.read("/printed"), "clish: unknown command: -c reload\n");
    EXPECT_FALSE(root_.exists("/tmp/smlCapture.txt"));
}

TEST_F(SwitchdFiles, leaveWhatIsThereAlone) {
    root_.write("/ostrel/bin/clish", "an operator's own");
    root_.write("/ostrel/conf/logfile", "a log of its own");

    ASSERT_EQ(install(), 0) << reason_;

    EXPECT_EQ(root_.read("/ostrel/bin/clish"), "an operator's own");
    EXPECT_EQ(root_.read("/ostrel/conf/logfile"), "a log of its own");
    EXPECT_TRUE(root_.exists("/ostrel/conf/messages"));
}

TEST_F(SwitchdFiles, tellWhichFileCannotBeMade) {
    root_.write("/ostrel/bin", "in the way");

    EXPECT_EQ(install(), -1);

    EXPECT_EQ(reason_, "cannot create " + root_.at("/ostrel/bin/clish") + ": Not a directory");
}

}  // namespace
