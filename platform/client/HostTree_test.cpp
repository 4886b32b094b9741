#include "platform/client/HostTree.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace {

using namespace std::chrono_literals;

class HostTreeTest : public testing::Test {
protected:
    HostTreeTest() { std::filesystem::create_directories(root_ + "/ostrel/conf"); }
    ~HostTreeTest() override { std::filesystem::remove_all(root_); }

    static std::string newDirectory() {
        std::string name = std::filesystem::temp_directory_path().string() + "/tree.XXXXXX";
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        return name;
    }
    int hold(HostTree& tree) { return tree.hold(root_, inUse_); }

    std::string root_ = newDirectory();
    std::string inUse_;
    HostTree first_{0ms};
    HostTree second_{0ms};
};

TEST_F(HostTreeTest, hasOneHolder) {
    EXPECT_EQ(hold(first_), 0);
    EXPECT_EQ(hold(first_), 0) << "again";

    EXPECT_EQ(hold(second_), -1);
    EXPECT_EQ(inUse_, root_ + "/");
}

TEST_F(HostTreeTest, isFreeWhenItsHolderHasGoneAndKeepsNoTraceOfIt) {
    {
        HostTree gone(0ms);
        EXPECT_EQ(hold(gone), 0);
    }

    EXPECT_EQ(hold(second_), 0);
    EXPECT_TRUE(std::filesystem::is_empty(root_ + "/ostrel/conf"));
}

TEST_F(HostTreeTest, isHeldThroughAnotherRootThatSharesItsFlash) {
    const std::string other = newDirectory();
    std::filesystem::create_directory_symlink(root_ + "/ostrel", other + "/ostrel");
    EXPECT_EQ(hold(first_), 0);

    EXPECT_EQ(second_.hold(other, inUse_), -1);

    EXPECT_EQ(inUse_, other + "/ostrel/conf");
    std::filesystem::remove_all(other);
}

TEST_F(HostTreeTest, isHeldAsSoonAsItExists) {
    std::filesystem::remove_all(root_);
    EXPECT_EQ(hold(first_), 0);
    EXPECT_EQ(hold(second_), 0);
    EXPECT_FALSE(std::filesystem::exists(root_)) << "and is not made";

    std::filesystem::create_directory(root_);
    EXPECT_EQ(hold(first_), 0);
    EXPECT_EQ(hold(second_), -1);
}

TEST_F(HostTreeTest, isHeldWhereNothingCanBeWritten) {
    ASSERT_EQ(chmod(root_.c_str(), 0555), 0);

    EXPECT_EQ(hold(first_), 0);
    EXPECT_EQ(hold(second_), -1);

    chmod(root_.c_str(), 0755);
}

TEST_F(HostTreeTest, thatIsNoDirectoryIsPassedOver) {
    std::filesystem::remove_all(root_);
    std::filesystem::create_symlink("/dev/null", root_);

    EXPECT_EQ(hold(first_), 0);
    EXPECT_EQ(hold(second_), 0);
}

TEST_F(HostTreeTest, isNotHeldByProgramsThatItsHolderHasStarted) {
    auto holder = std::make_unique<HostTree>(0ms);
    ASSERT_EQ(hold(*holder), 0);
    char* const arguments[] = {const_cast<char*>("sleep"), const_cast<char*>("60"), nullptr};
    pid_t child = -1;
    ASSERT_EQ(posix_spawn(&child, "/bin/sleep", nullptr, nullptr, arguments, environ), 0);

    holder.reset();

    // Not every posix_spawn waits until the program is there: an emulator's may return while it is still our copy.
    HostTree patient(20s);
    EXPECT_EQ(hold(patient), 0);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

}  // namespace
