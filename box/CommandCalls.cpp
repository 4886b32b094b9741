// Starting a shell command in a box, and waiting for its end.
#include "box/Calls.h"

#include "box/Box.h"
#include "box/FileRecord.h"
#include "box/RealCalls.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>

namespace box {

BOX_CALL(int, processSpawn, "posix_spawn",
         (pid_t * child, const char* path, const posix_spawn_file_actions_t* actions,
          const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment))
BOX_CALL(int, processAwait, "waitid", (idtype_t type, id_t child, siginfo_t* information, int options))
BOX_CALL(pid_t, processReap, "waitpid", (pid_t child, int* status, int options))
BOX_CALL(int, processSignal, "kill", (pid_t process, int number))

void keepCommandCalls() {
}

namespace {

struct CommandEnded final : Condition {
    CommandEnded(const Commands& its, pid_t child) : commands(its), process(child) {}
    bool holds(Time now) override { return commands.endOf(process) <= now; }
    Time due() const override { return commands.endOf(process); }
    const Commands& commands;
    const pid_t process;
};

}  // namespace

int processSpawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                 const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment) {
    Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return processSpawnReally()(child, path, actions, attributes, arguments, environment);
    }
    if (const int error = box->call("posix_spawn"); error != 0) {
        return error;
    }
    const Aside aside;
    *child = box->commands().start(arguments[2], box->now(), box->chance());
    if (*child == 0) {
        box->end(LifeEnd::kUnowned, 1, std::string("a command: ") + arguments[2]);
    }
    return 0;
}

int processAwait(idtype_t type, id_t child, siginfo_t* information, int options) {
    Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return processAwaitReally()(type, child, information, options);
    }
    static_cast<void>(box->call("waitid"));
    const auto process = static_cast<pid_t>(child);
    if (!box->commands().known(process)) {
        errno = ECHILD;
        return -1;
    }
    CommandEnded ended(box->commands(), process);
    box->threads().wait("waitid", ended);
    const Aside aside;
    box->commands().finish(process);
    if (FileRecord* const record = box->settings().record) {
        record->setTime(box->now());
        record->takeInOthers();
    }
    return 0;
}

pid_t processReap(pid_t child, int* status, int options) {
    Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return processReapReally()(child, status, options);
    }
    if (!box->commands().known(child)) {
        errno = ECHILD;
        return -1;
    }
    *status = box->commands().reap(child);
    return child;
}

int processSignal(pid_t process, int number) {
    Box* const box = Box::ofCaller();
    if (box == nullptr || process >= 0) {
        return processSignalReally()(process, number);
    }
    box->commands().kill(-process, box->now());
    box->threads().changed();
    return 0;
}

}  // namespace box
