#include "base/ShellFaults.h"

#include <spawn.h>

#include <atomic>

namespace {

std::atomic<int> refusals{0};
std::atomic<int> reason{0};
std::atomic<int> asked{0};

}  // namespace

extern "C" {

int __real_posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]);
int __wrap_posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]) {
    ++asked;
    if (refusals.load() > 0) {
        --refusals;
        return reason;
    }
    return __real_posix_spawn(process, path, actions, attributes, arguments, environment);
}

}  // extern "C"

namespace faults {

void refuseShells(int times, int error) {
    asked = 0;
    reason = error;
    refusals = times;
}

int shellsAskedFor() {
    return asked;
}

}  // namespace faults
