#include "switchctl/ahead/RunAhead.h"

#include "Descriptor.h"
#include "base/OrvFiles.h"
#include "switchctl/client/Attributes.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>

extern char** environ;

namespace {

constexpr const char* PROGRAM = "orvAhead";

[[noreturn]] void refuse(const std::string& what) {
    throw Refused(std::string(PROGRAM) + " " + what);
}

std::string programFile() {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path here = fs::read_symlink("/proc/self/exe", error).parent_path();
    for (const fs::path& file : {here / PROGRAM, here.parent_path() / "libexec" / "orv" / PROGRAM}) {
        if (::access(file.c_str(), X_OK) == 0) {
            return file;
        }
    }
    refuse("is not there: it belongs beside switchctl, or into libexec/orv");
}

struct Pipe {
    Pipe() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) < 0) {
            refuse(std::string("cannot be run: ") + std::strerror(errno));
        }
        out = Descriptor(ends[0]);
        in = Descriptor(ends[1]);
    }
    Descriptor out;
    Descriptor in;
};

pid_t start(const std::string& file, const Pipe& question, const Pipe& answer) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, question.out.get(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, answer.in.get(), STDOUT_FILENO);
    std::string name = PROGRAM;
    char* const arguments[] = {name.data(), nullptr};
    pid_t process = -1;
    const int error = ::posix_spawn(&process, file.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        refuse(std::string("cannot be run: ") + std::strerror(error));
    }
    return process;
}

// A reader that is gone is told by its status, not by a signal.
void ask(const Descriptor& file, const WireBytes& bytes) {
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    [[maybe_unused]] const int written = orvWriteAll(file.get(), bytes.data(), bytes.size());
    std::signal(SIGPIPE, before);
}

WireBytes readAll(const Descriptor& file) {
    WireBytes bytes;
    std::array<std::uint8_t, 65536> part{};
    for (;;) {
        const ssize_t got = ::read(file.get(), part.data(), part.size());
        if (got == 0 || (got < 0 && errno != EINTR)) {
            return bytes;
        }
        bytes.insert(bytes.end(), part.begin(), part.begin() + (got > 0 ? got : 0));
    }
}

}  // namespace

ahead::Outcome RunAhead::play(const ahead::Timetable& table) {
    Pipe question;
    Pipe answer;
    const pid_t process = start(programFile(), question, answer);
    question.out.reset();
    answer.in.reset();
    ask(question.in, encodeFields(table));  // all of it is read before anything is said
    question.in.reset();
    const WireBytes bytes = readAll(answer.out);
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    auto outcome = decodeFields<ahead::Outcome>(bytes);
    if (status != 0 || !outcome) {
        refuse("has failed");
    }
    if (!outcome->problem.empty()) {
        throw Refused("a daemon with this switch's attributes does not come to the end: " + outcome->problem);
    }
    return std::move(*outcome);
}

std::vector<Attribute> RunAhead::attributes(Session& session) {
    return Attributes::list(session, "");
}
