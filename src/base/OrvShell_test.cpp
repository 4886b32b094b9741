#include "base/OrvShell.h"

#include "base/OrvFiles.h"
#include "testing/FailingCalls.h"
#include "testing/base/HostFixture.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>

namespace {

class OrvShellTest : public HostFixture {
protected:
    // What a command prints.
    std::string printed(const std::string& command) {
        const auto file = onHost("/tmp/printed");
        EXPECT_EQ(orvRunShell(("{ " + command + "; } > '" + file.string() + "'").c_str()), 0) << command;
        return contents(file);
    }

    // What a process of its own ends with.
    static int inAProcess(const std::function<int()>& action) {
        const pid_t process = fork();
        if (process == 0) {
            _exit(action());
        }
        int status = 0;
        EXPECT_EQ(waitpid(process, &status, 0), process);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

// The signals that a process ignores, as a mask.
unsigned long long ignoredBy(const std::string& processStatus) {
    const std::string label = "SigIgn:";
    const std::size_t at = processStatus.find(label);
    return at == std::string::npos ? 0 : std::stoull(processStatus.substr(at + label.size()), nullptr, 16);
}

unsigned long long bitOf(int signal) {
    return 1ull << (signal - 1);
}

TEST_F(OrvShellTest, tellsHowTheCommandEnded) {
    EXPECT_EQ(orvRunShell("true"), 0);
    const int failed = orvRunShell("exit 7");
    EXPECT_TRUE(WIFEXITED(failed));
    EXPECT_EQ(WEXITSTATUS(failed), 7);
    const int killed = orvRunShell("kill -9 $$");
    EXPECT_TRUE(WIFSIGNALED(killed));
    EXPECT_EQ(WTERMSIG(killed), SIGKILL);
}

TEST_F(OrvShellTest, doesNotTakeACommandThatDoesNotExistForAShellThatCannotBeStarted) {
    const int status = orvRunShell("/no/such/program 2> /dev/null");
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 127);
}

TEST_F(OrvShellTest, passesTheCommandOnAsItStands) {
    EXPECT_EQ(printed("echo \"two  words\" 'and one'"), "two  words and one\n");
}

TEST_F(OrvShellTest, takesAnyTextAsOneWordAndLeavesPlainPathsAlone) {
    EXPECT_EQ(orvShellWord("/tmp/small-1_2.gz"), "/tmp/small-1_2.gz");
    for (const char* text : {"it's a root", "a  b", "$HOME;`true`\"\\*", "'"}) {
        EXPECT_EQ(printed("printf %s " + orvShellWord(text)), text);
    }
}

// No process at all can be had: the C library's system() says 127 then, as if the shell had run.
TEST_F(OrvShellTest, saysThatNoShellCouldBeStartedWhenThereAreTooManyProcesses) {
    const int error = inAProcess([] {
        const rlimit none{0, 0};
        if (setrlimit(RLIMIT_NPROC, &none) < 0 || (geteuid() == 0 && setuid(65534) < 0)) {
            return 0;
        }
        errno = 0;
        return orvRunShell("true") == -1 ? errno : 0;
    });
    EXPECT_EQ(error, EAGAIN);
}

TEST_F(OrvShellTest, triesOnceMoreWhatMayPass) {
    for (const int error : {EAGAIN, ENOMEM}) {
        const FailingCall shells("posix_spawn", "", error, 0, 1);

        EXPECT_EQ(orvRunShell("true"), 0);

        EXPECT_EQ(shells.calls(), 2u);
    }
}

TEST_F(OrvShellTest, triesNoThirdTime) {
    const FailingCall shells("posix_spawn", "", EAGAIN, 0, 2);

    EXPECT_EQ(orvRunShell("true"), -1);

    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(shells.calls(), 2u);
}

TEST_F(OrvShellTest, doesNotTryAgainWhatDoesNotPass) {
    const FailingCall shells("posix_spawn", "", ENOENT, 0, 1);

    EXPECT_EQ(orvRunShell("true"), -1);

    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(shells.calls(), 1u);
}

TEST_F(OrvShellTest, handsOnWhatIsIgnoredButForTheEndOfChildren) {
    const auto pipe = std::signal(SIGPIPE, SIG_IGN);
    const auto child = std::signal(SIGCHLD, SIG_IGN);
    const int ran = orvRunShell("exit 7");
    const std::string file = onHost("/tmp/status").string();
    const int asked = orvRunShell(("cat /proc/self/status > '" + file + "'").c_str());
    std::signal(SIGPIPE, pipe);
    std::signal(SIGCHLD, child);

    EXPECT_GE(ran, 0);  // it has run, whatever became of its status
    EXPECT_GE(asked, 0);
    const unsigned long long ignored = ignoredBy(contents(file));
    EXPECT_NE(ignored & bitOf(SIGPIPE), 0u);
    EXPECT_EQ(ignored & bitOf(SIGCHLD), 0u);
}

TEST_F(OrvShellTest, givesEachCommandAGroupOfItsOwn) {
    const std::string group = printed("cut -d' ' -f5 /proc/self/stat");
    EXPECT_NE(group, std::to_string(getpgrp()) + "\n");
    EXPECT_NE(group, "");
}

TEST_F(OrvShellTest, keepsTheDaemonsFilesFromTheCommand) {
    const Descriptor file = orvOpenFile("/tmp/kept", O_WRONLY | O_CREAT, 0600);
    ASSERT_TRUE(file);

    EXPECT_EQ(printed("ls -l /proc/self/fd").find("/tmp/kept"), std::string::npos);
}

TEST_F(OrvShellTest, leavesNoProcessBehind) {
    EXPECT_EQ(orvRunShell("true"), 0);
    errno = 0;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

}  // namespace
