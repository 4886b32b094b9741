#include "testing/platform/Child.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

namespace {

constexpr const char* OURS_ALONE[] = {"HSB_BUS", "HSB_ROOT", "HSB_TIME_SCALE", "DBUS_SESSION_BUS_ADDRESS"};

// Our environment without what is ours alone, and the given variables: "NAME=VALUE".
Words variablesFor(const Environment& given) {
    Words all;
    for (char** one = environ; *one != nullptr; ++one) {
        const std::string variable = *one;
        const std::string name = variable.substr(0, variable.find('='));
        if (std::ranges::find(OURS_ALONE, name) == std::end(OURS_ALONE) && !given.contains(name)) {
            all.push_back(variable);
        }
    }
    for (const auto& [name, value] : given) {
        all.push_back(name + "=" + value);
    }
    return all;
}

// As execve() wants it.
std::vector<char*> pointersTo(const Words& words) {
    std::vector<char*> all;
    for (const std::string& word : words) {
        all.push_back(const_cast<char*>(word.c_str()));
    }
    all.push_back(nullptr);
    return all;
}

std::string firstLine(const std::string& file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

// What the system tells of each thread of a process that does not end.
std::string standOf(pid_t process) {
    const std::string directory = "/proc/" + std::to_string(process);
    std::string all = firstLine(directory + "/cmdline");
    std::ranges::replace(all, '\0', ' ');
    std::error_code error;
    for (const auto& task : std::filesystem::directory_iterator(directory + "/task", error)) {
        const std::string thread = task.path();
        all += "\n" + firstLine(thread + "/stat") + "\n  in " + firstLine(thread + "/wchan") + ", system call " +
               firstLine(thread + "/syscall");
    }
    return all;
}

}  // namespace

// Between fork() and execve() nothing allocates: another thread may hold the allocator's lock, for ever in the child.
Child::Child(const std::string& program, const Words& arguments, const Environment& environment,
             const std::function<void()>& preparation) {
    Words words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const std::vector<char*> itsArguments = pointersTo(words);
    const Words variables = variablesFor(environment);
    const std::vector<char*> itsVariables = pointersTo(variables);
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
        execve(program.c_str(), itsArguments.data(), itsVariables.data());
        _exit(127);
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
    const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
    pollfd ending{process.get(), POLLIN, 0};
    if (process && poll(&ending, 1, PATIENCE_MS) == 0) {
        ADD_FAILURE() << "does not end: " << standOf(pid_);
        kill(pid_, SIGKILL);
    }
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
