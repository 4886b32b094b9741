#include "testing/switchctl/Child.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

[[noreturn]] void execute(const std::string& program, const Words& arguments, const Environment& environment) {
    for (const char* name : {"HSB_BUS", "HSB_ROOT", "HSB_TIME_SCALE", "DBUS_SESSION_BUS_ADDRESS"}) {
        unsetenv(name);
    }
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<char*> words = {const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    execv(program.c_str(), words.data());
    _exit(127);
}

}  // namespace

Child::Child(const std::string& program, const Words& arguments, const Environment& environment,
             const std::function<void()>& preparation) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    output_.reset(ends[0]);
    const Descriptor itsOutput(ends[1]);
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(itsOutput.get(), STDOUT_FILENO);
        dup2(itsOutput.get(), STDERR_FILENO);
        if (preparation) {
            preparation();
        }
        execute(program, arguments, environment);
    }
}

Child::~Child() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void Child::signal(int number) const {
    ASSERT_GT(pid_, 0);  // kill() takes -1 for everybody.
    kill(pid_, number);
}

std::string Child::readLine() {
    while (unread_.find('\n') == std::string::npos && readMore()) {
    }
    const std::size_t end = std::min(unread_.find('\n'), unread_.size() - 1);
    std::string line = unread_.substr(0, end + 1);
    unread_.erase(0, end + 1);
    return line;
}

std::string Child::readAll() {
    while (readMore()) {
    }
    return std::exchange(unread_, "");
}

int Child::wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

bool Child::readMore() {
    pollfd waiting{output_.get(), POLLIN, 0};
    char bytes[65536];
    const ssize_t count = poll(&waiting, 1, PATIENCE_MS) == 1 ? read(output_.get(), bytes, sizeof bytes) : 0;
    unread_.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0;
}
