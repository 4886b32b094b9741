// A program of its own: once the shells are ended, none is started any more.
#include "base/OrvShell.h"

#include "Descriptor.h"
#include "testing/base/HostFixture.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <cerrno>
#include <thread>

namespace {

class OrvShellEnd : public HostFixture {};

// Whether something happens at the pipe before the test is given up.
bool happens(const Descriptor& pipe, short event) {
    constexpr int kDeadline = 20000;
    pollfd watched{pipe.get(), event, 0};
    return poll(&watched, 1, kDeadline) == 1 && (watched.revents & event) != 0;
}

TEST_F(OrvShellEnd, endsAShellWithAllThatItHasStartedAndStartsNoFurtherOne) {
    const std::string path = onHost("/tmp/held").string();
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const Descriptor held(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    ASSERT_TRUE(held);
    int result = 0;
    int error = 0;
    std::thread waiting([&] {
        // Both hold the pipe open for as long as they live, and do not end when they are asked to.
        const std::string command = "trap '' TERM; exec > '" + path + "'; (sleep 600) & echo runs; sleep 600; wait";
        result = orvRunShell(command.c_str());
        error = errno;
    });
    ASSERT_TRUE(happens(held, POLLIN));
    char text[16];
    EXPECT_EQ(read(held.get(), text, sizeof text), 5);

    orvEndShells();

    waiting.join();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, ECANCELED);
    EXPECT_TRUE(happens(held, POLLHUP));
    EXPECT_EQ(orvRunShell("true"), -1);
    EXPECT_EQ(errno, ECANCELED);
}

}  // namespace
