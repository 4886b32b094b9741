#include "base/OrvText.h"

#include "base/OrvPaths.h"
#include "platform/posix/HostRoot.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

TEST(OrvFormat, composesTextsOfEveryLength) {
    for (const std::size_t length : {0u, 1u, 254u, 255u, 256u, 257u, 100000u}) {
        const std::string text(length, 'x');

        EXPECT_EQ(orvFormat("%s", text.c_str()), text);
        EXPECT_EQ(orvFormat("<%s|%d>", text.c_str(), -5), "<" + text + "|-5>");
    }
}

TEST(OrvFormat, takesPercentSignsInArgumentsAsTheyAre) {
    EXPECT_EQ(orvFormat("[%s]", "100% %s %n"), "[100% %s %n]");
}

TEST(OrvErrorText, isTheSystemsText) {
    EXPECT_EQ(orvErrorText(ENOENT), "No such file or directory");
    EXPECT_EQ(orvErrorText(ETIMEDOUT), "Connection timed out");
    EXPECT_EQ(orvErrorText(0), "Success");
}

TEST(OrvErrorText, namesNumbersThatAreNoErrors) {
    EXPECT_EQ(orvErrorText(99999), "Unknown error 99999");
}

TEST(OrvHostPath, isThePathItselfWithoutRoot) {
    setHostRoot("");

    EXPECT_EQ(orvHostPath("/tmp/orv.out.Main"), "/tmp/orv.out.Main");
}

TEST(OrvHostPath, putsTheHostsRootInFront) {
    setHostRoot("/some/root");
    const std::string path = orvHostPath(kOrvSendQueueDirectory);
    setHostRoot("");

    EXPECT_EQ(path, "/some/root/ostrel/conf/orv/callHome/queues/send");
}

}  // namespace
