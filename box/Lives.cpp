#include "box/Lives.h"

#include "Descriptor.h"
#include "base/OrvFiles.h"
#include "box/Life.h"
#include "platform/wire/Fields.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>
#include <system_error>

namespace box {

namespace {

// How often a life's progress is looked at, in milliseconds.
constexpr int kLook = 100;

// Where parent and life both see how far it is.
class SharedProgress {
public:
    SharedProgress() {
        void* const place =
            ::mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (place == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "mmap");
        }
        progress_ = new (place) Progress;
    }
    ~SharedProgress() { ::munmap(progress_, sizeof(Progress)); }
    SharedProgress(const SharedProgress&) = delete;
    SharedProgress& operator=(const SharedProgress&) = delete;

    Progress* get() const { return progress_; }

private:
    Progress* progress_;
};

// All that comes until the other end is closed; nothing when there is no progress for that long.
std::vector<std::uint8_t> readAll(int file, const Progress& progress, int patience) {
    std::vector<std::uint8_t> bytes;
    std::uint8_t buffer[65536];
    pollfd readable{file, POLLIN, 0};
    std::uint32_t seen = 0;
    for (int silent = 0; silent < patience; silent += kLook) {
        if (::poll(&readable, 1, kLook) <= 0) {
            silent = seen == progress.calls ? silent : 0;
            seen = progress.calls;
            continue;
        }
        silent = 0;
        const ssize_t got = ::read(file, buffer, sizeof buffer);
        if (got == 0) {
            return bytes;
        }
        bytes.insert(bytes.end(), buffer, buffer + (got > 0 ? got : 0));
    }
    return {};
}

[[noreturn]] void liveHere(World& world, Script& script, const std::string& root, Progress* progress, int report) {
    try {
        std::optional<Spared> notYetTheDaemons(std::in_place);
        Life life(world, script, root, progress, [&](LifeEnd how, int status, const std::string& why) {
            FieldWriter out;
            out(how, status);
            out.text32(why);
            World::fields(out, world);
            script.encode(out);
            std::fflush(stdout);
            const std::vector<std::uint8_t> bytes = out.take();
            // A report that is cut short is told by its reader.
            [[maybe_unused]] const int written = orvWriteAll(report, bytes.data(), bytes.size());
        });
        notYetTheDaemons.reset();
        life.live();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "box: %s\n", error.what());
    }
    ::_exit(1);
}

}  // namespace

LifeOutcome live(World& world, Script& script, const std::string& root, int patience) {
    const SharedProgress progress;
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) < 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    Descriptor in(ends[0]);
    Descriptor out(ends[1]);
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        in.reset();
        liveHere(world, script, root, progress.get(), out.get());
    }
    out.reset();
    const std::vector<std::uint8_t> bytes = readAll(in.get(), *progress.get(), patience);
    if (bytes.empty()) {
        ::kill(child, SIGKILL);  // in vain when it is gone already
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    LifeOutcome outcome;
    if (bytes.empty()) {
        outcome.status = status;
        outcome.why = WIFSIGNALED(status) ? ::strsignal(WTERMSIG(status)) : "no word of it";
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) {
            outcome.why = std::string("it hangs; its last call was ") + progress.get()->last.data();
        }
        return outcome;
    }
    FieldReader reader(bytes);
    outcome.told = true;
    reader(outcome.how, outcome.status);
    reader.text32(outcome.why);
    World::fields(reader, world);
    script.decode(reader);
    return outcome;
}

LifeOutcome liveOn(World& world, Script& script, const std::string& root) {
    constexpr Time kRestart = kSecond;  // until somebody has started the daemon again
    LifeOutcome outcome;
    do {
        world.now += world.lives > 0 ? kRestart : 0;
        outcome = live(world, script, root);
    } while (outcome.mayGoOn() && script.next() != kNever);
    return outcome;
}

}  // namespace box
