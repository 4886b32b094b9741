#include "testing/app/MainSteps.h"

#include "Cns.h"
#include "Ens.h"
#include "Hsb.h"
#include "Hsb_Component.h"
#include "Hsb_Slot.h"
#include "Log_Event.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"

#include <syslog.h>

#include <cerrno>
#include <cstdarg>
#include <new>
#include <utility>

// The names that the compiler gives to what is wrapped.
#if __SIZEOF_POINTER__ == 8
#define ORV_NOTHROW_NEW _ZnwmRKSt9nothrow_t
#define ORV_THROWING_NEW _Znwm
#else
#define ORV_NOTHROW_NEW _ZnwjRKSt9nothrow_t
#define ORV_THROWING_NEW _Znwj
#endif
#define ORV_JOIN(a, b) a##b
#define ORV_REAL(name) ORV_JOIN(__real_, name)
#define ORV_WRAP(name) ORV_JOIN(__wrap_, name)

namespace {

MainSteps* active = nullptr;
bool noMemory = false;

bool begins(const std::string& text, const std::string& start) {
    return !start.empty() && text.starts_with(start);
}

// False when the step shall fail.
bool step(const std::string& text) {
    if (active == nullptr) {
        return true;
    }
    active->tell(text);
    noMemory = begins(text, active->noMemoryAfter);
    return !begins(text, active->failing) && !begins(text, active->alsoFailing);
}

bool takeNoMemory() {
    return std::exchange(noMemory, false);
}

}  // namespace

extern "C" {
void __real_tzset();
void __real_openlog(const char* name, int options, int facility);
int __real__ZN6OrvDbg9createKeyEv();
int __real__ZN6OrvDbg11setOfThreadEPS_(OrvDbg* logger);
int __real__ZN3Hsb4initEiii(Hsb* bus, int maxMessages, int flags, int options);
int __real__ZN3Cns4initEi(Cns* names, int options);
int __real__ZN3Ens4initEv(Ens* events);
void __real__ZN9Log_Event4openEv(Log_Event* log);
int __real__ZN8Hsb_Slot6insertEP13Hsb_Component(Hsb_Slot* slot, Hsb_Component* component);
int __real__ZN3Hsb13handle_eventsEPK7Timeval(Hsb* bus, const Timeval* limit);
void __real__ZN9Log_Event5closeEv(Log_Event* log);
void __real__ZN3Ens8shutdownEv(Ens* events);
void __real__ZN3Cns8shutdownEv(Cns* names);
void __real__ZN3Hsb8shutdownEv(Hsb* bus);
int __real_pipe2(int* ends, int flags);
void* ORV_REAL(ORV_NOTHROW_NEW)(std::size_t size, const std::nothrow_t& tag);
void* ORV_REAL(ORV_THROWING_NEW)(std::size_t size);

void __wrap_tzset() {
    step("tzset");
    __real_tzset();
}

void __wrap_openlog(const char* name, int options, int facility) {
    step(orvFormat("openlog %s %d %d", name, options, facility));
}

void __wrap_syslog(int priority, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    step(orvFormat("syslog %d ", priority) + orvFormatV(format, arguments));
    va_end(arguments);
}

int __wrap__ZN6OrvDbg9createKeyEv() {
    return step("OrvDbg::createKey") ? __real__ZN6OrvDbg9createKeyEv() : -1;
}

int __wrap__ZN6OrvDbg11setOfThreadEPS_(OrvDbg* logger) {
    return step("OrvDbg::setOfThread") ? __real__ZN6OrvDbg11setOfThreadEPS_(logger) : -1;
}

int __wrap__ZN3Hsb4initEiii(Hsb* bus, int maxMessages, int flags, int options) {
    return step(orvFormat("Hsb::init %d %d %d", maxMessages, flags, options))
               ? __real__ZN3Hsb4initEiii(bus, maxMessages, flags, options)
               : 0;
}

int __wrap__ZN3Cns4initEi(Cns* names, int options) {
    return step(orvFormat("Cns::init %d", options)) ? __real__ZN3Cns4initEi(names, options) : 0;
}

int __wrap__ZN3Ens4initEv(Ens* events) {
    return step("Ens::init") ? __real__ZN3Ens4initEv(events) : 0;
}

void __wrap__ZN9Log_Event4openEv(Log_Event* log) {
    step("Log_Event::open");
    __real__ZN9Log_Event4openEv(log);
}

int __wrap__ZN8Hsb_Slot6insertEP13Hsb_Component(Hsb_Slot* slot, Hsb_Component* component) {
    // A late failure of memory concerns what follows the insertion.
    const int result = __real__ZN8Hsb_Slot6insertEP13Hsb_Component(slot, component);
    if (!step("Hsb_Slot::insert")) {
        return -1;
    }
    if (active != nullptr && active->inserted) {
        active->inserted(component);
    }
    return result;
}

int __wrap__ZN3Hsb13handle_eventsEPK7Timeval(Hsb* bus, const Timeval* limit) {
    step(limit == nullptr ? "Hsb::handle_events without limit" : "Hsb::handle_events");
    return active != nullptr && active->serve ? active->serve() : __real__ZN3Hsb13handle_eventsEPK7Timeval(bus, limit);
}

void __wrap__ZN9Log_Event5closeEv(Log_Event* log) {
    step("Log_Event::close");
    __real__ZN9Log_Event5closeEv(log);
}

void __wrap__ZN3Ens8shutdownEv(Ens* events) {
    step("Ens::shutdown");
    __real__ZN3Ens8shutdownEv(events);
}

void __wrap__ZN3Cns8shutdownEv(Cns* names) {
    step("Cns::shutdown");
    __real__ZN3Cns8shutdownEv(names);
}

void __wrap__ZN3Hsb8shutdownEv(Hsb* bus) {
    step("Hsb::shutdown");
    __real__ZN3Hsb8shutdownEv(bus);
}

void __wrap__Z7app_logijiiiijP13Hsb_ComponentPKcz(int level, std::uint32_t id, int, int, int, int, std::uint32_t,
                                                  Hsb_Component*, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    step(orvFormat("app_log %d %x ", level, id) + orvFormatV(format, arguments));
    va_end(arguments);
}

void __wrap__Z12switch_alarmijiiiijP13Hsb_ComponentPKc(int level, std::uint32_t id, int, int, int, int, std::uint32_t,
                                                       Hsb_Component*, const char* text) {
    step(orvFormat("switch_alarm %d %x %s", level, id, text));
}

// A step as well, but one that is made more than once: told only when it fails.
int __wrap_pipe2(int* ends, int flags) {
    if (active != nullptr && active->failing == "pipe2") {
        errno = EMFILE;
        return -1;
    }
    return __real_pipe2(ends, flags);
}

void* ORV_WRAP(ORV_NOTHROW_NEW)(std::size_t size, const std::nothrow_t& tag) {
    return takeNoMemory() ? nullptr : ORV_REAL(ORV_NOTHROW_NEW)(size, tag);
}

void* ORV_WRAP(ORV_THROWING_NEW)(std::size_t size) {
    if (takeNoMemory()) {
        throw std::bad_alloc();
    }
    return ORV_REAL(ORV_THROWING_NEW)(size);
}
}

MainSteps::MainSteps(std::function<void(const std::string&)> tellStep) : tell(std::move(tellStep)) {
    active = this;
}

MainSteps::~MainSteps() {
    active = nullptr;
    noMemory = false;
}
