// What a process in a box knows of itself, how it ends, and what it says to the system's log.
#include "box/Calls.h"

#include "box/Box.h"
#include "box/RealCalls.h"

#include <sys/resource.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <string>

namespace box {

BOX_CALL(pid_t, processId, "getpid", ())
BOX_CALL(int, priorityOf, "setpriority", (int which, id_t who, int priority))
BOX_CALL(void, leaveProcess, "exit", (int status))
BOX_CALL(void, leaveAtOnce, "_exit", (int status))
void logToSystem(int priority, const char* format, ...) __asm__("syslog");
void logToSystemChecked(int priority, int flag, const char* format, ...) __asm__("__syslog_chk");

void keepProcessCalls() {
}

namespace {

void logIn(int priority, const char* format, std::va_list arguments) {
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
