#include "base/OrvShell.h"

#include "base/OrvMutex.h"

#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <new>

namespace {

constexpr char kShell[] = "/bin/sh";
// Long enough for a process or a page to become free, short enough for the main thread.
constexpr timespec kBeforeSecondTry = {0, 50'000'000};

class Attributes {
public:
    Attributes() : error_(posix_spawnattr_init(&attributes_)) {
        if (error_ == 0) {
            initialised_ = true;
            choose();
        }
    }
    ~Attributes() {
        if (initialised_) {
            posix_spawnattr_destroy(&attributes_);
        }
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    // 0, or why there are none.
    int error() const { return error_; }
    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    void choose() {
#ifdef POSIX_SPAWN_SETSID
        // A session of its own is also a group of its own, and none that a terminal stops when it reads.
        constexpr short kOwnGroup = POSIX_SPAWN_SETSID;
#else
        constexpr short kOwnGroup = POSIX_SPAWN_SETPGROUP;
#endif
        sigset_t children;
        sigemptyset(&children);
        sigaddset(&children, SIGCHLD);
        error_ = posix_spawnattr_setsigdefault(&attributes_, &children);
        if (error_ == 0) {
            error_ = posix_spawnattr_setflags(&attributes_, kOwnGroup | POSIX_SPAWN_SETSIGDEF);
        }
    }

    posix_spawnattr_t attributes_{};
    int error_;
    bool initialised_ = false;
};

// 0, or an error number.
int spawnShell(const char* command, pid_t& process) {
    const Attributes attributes;
    if (attributes.error() != 0) {
        return attributes.error();
    }
    char* const arguments[] = {const_cast<char*>("sh"), const_cast<char*>("-c"), const_cast<char*>(command), nullptr};
    return posix_spawn(&process, kShell, nullptr, attributes.get(), arguments, environ);
}

bool mayPass(int error) {
    return error == EAGAIN || error == ENOMEM;
}

// The shells that run, each on the stack of the thread that waits for it: keeping them takes no memory. Any thread.
class Shells {
public:
    // Under the lock while it is listed, but for the number; its own thread's before and afterwards.
    struct Running {
        pid_t process = -1;
        bool ended = false;  // by us
        Running* next = nullptr;
    };

    // 0, or an error number.
    int start(const char* command, Running& shell) ORV_EXCLUDES(lock_) {
        const Mt::Lock lock(lock_);
        if (closed_) {
            return ECANCELED;
        }
        const int error = spawnShell(command, shell.process);
        if (error == 0) {
            shell.next = first_;
            first_ = &shell;
        }
        return error;
    }

    // Of a shell that has ended, but is not reaped: until then nobody else gets its number, and end() hits no stranger.
    void reap(Running& shell, int& status) ORV_EXCLUDES(lock_) {
        const Mt::Lock lock(lock_);
        Running** place = &first_;
        while (*place != &shell) {
            place = &(*place)->next;
        }
        *place = shell.next;
        waitpid(shell.process, &status, 0);
    }

    void end() ORV_EXCLUDES(lock_) {
        const Mt::Lock lock(lock_);
        closed_ = true;
        for (Running* shell = first_; shell != nullptr; shell = shell->next) {
            shell->ended = true;
            ::kill(-shell->process, SIGKILL);
        }
    }

private:
    Mt::Mutex lock_;
    Running* first_ ORV_GUARDED_BY(lock_) = nullptr;
    bool closed_ ORV_GUARDED_BY(lock_) = false;
};

// Never destroyed: a worker may wait for its shell until the process is gone.
Shells& shells() {
    alignas(Shells) static std::byte storage[sizeof(Shells)];
    static Shells& all = *new (storage) Shells;
    return all;
}

// Not at all when nobody may wait for a child: what has ended is gone by then.
void awaitEnd(pid_t process) {
    siginfo_t information;
    while (waitid(P_PID, static_cast<id_t>(process), &information, WEXITED | WNOWAIT) < 0 && errno == EINTR) {
    }
}

}  // namespace

std::string orvShellWord(std::string_view text) {
    constexpr char kPlain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./-";
    if (text.find_first_not_of(kPlain) == std::string_view::npos) {
        return std::string(text);
    }
    std::string word = "'";
    for (const char character : text) {
        word += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return word + "'";
}

int orvRunShell(const char* command) {
    Shells::Running shell;
    int error = shells().start(command, shell);
    if (mayPass(error)) {
        nanosleep(&kBeforeSecondTry, nullptr);
        error = shells().start(command, shell);
    }
    if (error != 0) {
        errno = error;
        return -1;
    }
    awaitEnd(shell.process);
    int status = 0;
    shells().reap(shell, status);
    if (shell.ended) {
        errno = ECANCELED;
        return -1;
    }
    return status;
}

void orvEndShells() {
    shells().end();
}
