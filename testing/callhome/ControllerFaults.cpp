#include "testing/callhome/ControllerFaults.h"

#include <cerrno>
#include <cstdlib>
#include <new>
#include <stdexcept>
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

class Hsb_Component;
class Hsb_Slot;
class OrvCHCapture;
class OrvCHClient;
class OrvCHIncoming;

namespace Mt {
class Threadable;
}

namespace {

thread_local ControllerFaults* active = nullptr;
OrvCHMesgQ* lastQueue = nullptr;

// A hook does not meet itself: what it calls is the real thing.
bool fails(const char* name) {
    if (active == nullptr) {
        return false;
    }
    struct Pause {
        ControllerFaults* const faults = std::exchange(active, nullptr);
        ~Pause() { active = faults; }
    };
    const Pause pause;
    return pause.faults->call(name);
}

void failOrGoOn(const char* name) {
    if (fails(name)) {
        throw std::runtime_error("fault");
    }
}

}  // namespace

extern "C" {
int __real__ZN13OrvCHIncoming20processIncomingMesgQEv(OrvCHIncoming* self);
void __real__ZN12OrvCHCapture4tickEb(OrvCHCapture* self, bool open);
void __real__ZN10OrvCHMesgQ15oneSecondChoresEv(OrvCHMesgQ* self);
void __real__ZN11OrvCHClient13oneSecondTickEv(OrvCHClient* self);
void __real__ZNK12OrvCHCapture5probeEv(const OrvCHCapture* self);
int __real__ZN2Mt8Threader6launchERNS_10ThreadableE(Mt::Threadable& thread);
int __real__ZN8Hsb_Slot6insertEP13Hsb_Component(Hsb_Slot* slot, Hsb_Component* component);
void* ORV_REAL(ORV_NOTHROW_NEW)(std::size_t size, const std::nothrow_t& tag);
void* ORV_REAL(ORV_THROWING_NEW)(std::size_t size);

int __wrap__ZN13OrvCHIncoming20processIncomingMesgQEv(OrvCHIncoming* self) {
    failOrGoOn(ControllerFaults::kIncoming);
    return __real__ZN13OrvCHIncoming20processIncomingMesgQEv(self);
}

void __wrap__ZN12OrvCHCapture4tickEb(OrvCHCapture* self, bool open) {
    failOrGoOn(ControllerFaults::kCapture);
    __real__ZN12OrvCHCapture4tickEb(self, open);
}

void __wrap__ZN10OrvCHMesgQ15oneSecondChoresEv(OrvCHMesgQ* self) {
    lastQueue = self;
    failOrGoOn(ControllerFaults::kQueue);
    __real__ZN10OrvCHMesgQ15oneSecondChoresEv(self);
}

void __wrap__ZN11OrvCHClient13oneSecondTickEv(OrvCHClient* self) {
    failOrGoOn(ControllerFaults::kClient);
    __real__ZN11OrvCHClient13oneSecondTickEv(self);
}

void __wrap__ZNK12OrvCHCapture5probeEv(const OrvCHCapture* self) {
    failOrGoOn(ControllerFaults::kCaptureProbe);
    __real__ZNK12OrvCHCapture5probeEv(self);
}

int __wrap__ZN2Mt8Threader6launchERNS_10ThreadableE(Mt::Threadable& thread) {
    return fails(ControllerFaults::kLaunch) ? EAGAIN : __real__ZN2Mt8Threader6launchERNS_10ThreadableE(thread);
}

int __wrap__ZN8Hsb_Slot6insertEP13Hsb_Component(Hsb_Slot* slot, Hsb_Component* component) {
    const int result = __real__ZN8Hsb_Slot6insertEP13Hsb_Component(slot, component);
    return fails(ControllerFaults::kInsert) ? -1 : result;
}

int __wrap__Z11orvRunShellPKc(const char* command) {
    return ControllerFaults::shell() ? ControllerFaults::shell()(command) : 0;
}

void* ORV_WRAP(ORV_NOTHROW_NEW)(std::size_t size, const std::nothrow_t& tag) {
    return fails(ControllerFaults::kNothrowNew) ? nullptr : ORV_REAL(ORV_NOTHROW_NEW)(size, tag);
}

void* ORV_WRAP(ORV_THROWING_NEW)(std::size_t size) {
    if (fails(ControllerFaults::kNew)) {
        throw std::bad_alloc();
    }
    return ORV_REAL(ORV_THROWING_NEW)(size);
}
}

ControllerFaults::ControllerFaults(std::function<bool(const std::string&)> calls)
    : call(std::move(calls)), outer_(std::exchange(active, this)) {
}

ControllerFaults::~ControllerFaults() {
    active = outer_;
}

OrvCHMesgQ* ControllerFaults::queue() {
    return lastQueue;
}

std::function<int(const char*)>& ControllerFaults::shell() {
    static std::function<int(const char*)> shell;
    return shell;
}

std::function<bool(const std::string&)> failNth(const char* name, unsigned n) {
    return [name, n, seen = 0u](const std::string& call) mutable { return call == name && ++seen == n; };
}
