#include "platform/posix/HostRoot.h"

#include "host_root.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

// Runs in a process of its own: the environment is read once.
void endWhetherRootIs(const char* environment, const char* expected) {
    if (environment != nullptr) {
        setenv("HSB_ROOT", environment, 1);
    } else {
        unsetenv("HSB_ROOT");
    }
    std::_Exit(host_root() == expected ? 0 : 1);
}

void endWhetherRootIsAfterSetting(const char* directory, const char* expected) {
    setenv("HSB_ROOT", "/other", 1);
    setHostRoot(directory);
    std::_Exit(host_root() == expected ? 0 : 1);
}

const struct {
    const char* directory;
    const char* root;
} CASES[] = {{"", ""}, {"/", ""}, {"//", ""}, {"/a/b", "/a/b"}, {"/a/b///", "/a/b"}, {"relative/", "relative"}};

}  // namespace

TEST(HostRoot, isEmptyWithoutEnvironment) {
    EXPECT_EXIT(endWhetherRootIs(nullptr, ""), testing::ExitedWithCode(0), "");
}

TEST(HostRoot, comesFromTheEnvironmentWithoutTrailingSlashes) {
    for (const auto& each : CASES) {
        EXPECT_EXIT(endWhetherRootIs(each.directory, each.root), testing::ExitedWithCode(0), "") << each.directory;
    }
}

TEST(HostRoot, canBeReplacedByATest) {
    for (const auto& each : CASES) {
        EXPECT_EXIT(endWhetherRootIsAfterSetting(each.directory, each.root), testing::ExitedWithCode(0), "")
            << each.directory;
    }
}
