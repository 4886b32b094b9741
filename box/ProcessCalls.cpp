// What a process in a box knows of itself, how it ends, and what it says to the system's log.
#include "box/Calls.h"

#include "box/Box.h"
#include "box/RealCalls.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace box {

BOX_CALL(pid_t, processId, "getpid", ())
BOX_CALL(int, priorityOf, "setpriority", (int which, id_t who, int priority))
BOX_CALL(void, leaveProcess, "exit", (int status))
BOX_CALL(void, leaveAtOnce, "_exit", (int status))
BOX_CALL(long, systemCall, "syscall", (long number, ...))
__attribute__((format(printf, 2, 3))) void logToSystem(int priority, const char* format, ...) __asm__("syslog");
__attribute__((format(printf, 3, 4))) void logToSystemChecked(int priority, int flag, const char* format,
                                                              ...) __asm__("__syslog_chk");

void keepProcessCalls() {
}

namespace {

__attribute__((format(printf, 2, 0))) void logIn(int priority, const char* format, std::va_list arguments) {
    Box* const box = Box::ofCaller();
    if (box == nullptr) {
        ::vsyslog(priority, format, arguments);
        return;
    }
    const Aside aside;
    char text[1024] = "";
    std::vsnprintf(text, sizeof text, format, arguments);
    box->tell("syslog", std::to_string(priority) + " " + text);
}

}  // namespace

pid_t processId() {
    const Box* const box = Box::ofCaller();
    return box == nullptr ? processIdReally()() : static_cast<pid_t>(box->settings().process);
}

int priorityOf(int which, id_t who, int priority) {
    return Box::ofCaller() == nullptr ? priorityOfReally()(which, who, priority) : 0;
}

// A call that not every kernel has is one that this one has not: the daemon takes the same way everywhere. Hands on six
// words however many there are, as the C library's own does.
__attribute__((no_sanitize("address"))) long systemCall(long number, ...) {
    std::va_list arguments;
    va_start(arguments, number);
    long values[6];
    for (long& value : values) {
        value = va_arg(arguments, long);
    }
    va_end(arguments);
    if (Box* const box = Box::ofCaller()) {
#ifdef SYS_futex
        if (number == SYS_futex) {
            box->end(LifeEnd::kUnowned, 1, "futex");
        }
#endif
#ifdef SYS_openat2
        if (number == SYS_openat2) {
            errno = ENOSYS;
            return -1;
        }
#endif
    }
    return systemCallReally()(number, values[0], values[1], values[2], values[3], values[4], values[5]);
}

void leaveProcess(int status) {
    if (Box* const box = Box::ofCaller()) {
        box->end(LifeEnd::kEnded, status, "exit");
    }
    leaveProcessReally()(status);
    __builtin_unreachable();
}

void leaveAtOnce(int status) {
    if (Box* const box = Box::ofCaller()) {
        box->end(LifeEnd::kEnded, status, "_exit");
    }
    leaveAtOnceReally()(status);
    __builtin_unreachable();
}

void logToSystem(int priority, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    logIn(priority, format, arguments);
    va_end(arguments);
}

void logToSystemChecked(int priority, int /*flag*/, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    logIn(priority, format, arguments);
    va_end(arguments);
}

}  // namespace box
