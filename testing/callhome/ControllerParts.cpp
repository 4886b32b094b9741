#include "testing/callhome/ControllerParts.h"

#include <stdexcept>
#include <utility>

class Hsb_Component;
class Hsb_Slot;
class OrvCHCapture;
class OrvCHClient;
class OrvCHIncoming;

namespace {

thread_local const ControllerParts* active = nullptr;
OrvCHMesgQ* lastQueue = nullptr;

void failOrGoOn(const char* name) {
    if (active != nullptr && active->call(name)) {
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
int __real__ZN8Hsb_Slot6insertEP13Hsb_Component(Hsb_Slot* slot, Hsb_Component* component);

int __wrap__ZN13OrvCHIncoming20processIncomingMesgQEv(OrvCHIncoming* self) {
    failOrGoOn(ControllerParts::kIncoming);
    return __real__ZN13OrvCHIncoming20processIncomingMesgQEv(self);
}

void __wrap__ZN12OrvCHCapture4tickEb(OrvCHCapture* self, bool open) {
    failOrGoOn(ControllerParts::kCapture);
    __real__ZN12OrvCHCapture4tickEb(self, open);
}

void __wrap__ZN10OrvCHMesgQ15oneSecondChoresEv(OrvCHMesgQ* self) {
    lastQueue = self;
    failOrGoOn(ControllerParts::kQueue);
    __real__ZN10OrvCHMesgQ15oneSecondChoresEv(self);
}

void __wrap__ZN11OrvCHClient13oneSecondTickEv(OrvCHClient* self) {
    failOrGoOn(ControllerParts::kClient);
    __real__ZN11OrvCHClient13oneSecondTickEv(self);
}

void __wrap__ZNK12OrvCHCapture5probeEv(const OrvCHCapture* self) {
    failOrGoOn(ControllerParts::kCaptureProbe);
    __real__ZNK12OrvCHCapture5probeEv(self);
}

int __wrap__ZN8Hsb_Slot6insertEP13Hsb_Component(Hsb_Slot* slot, Hsb_Component* component) {
    const int result = __real__ZN8Hsb_Slot6insertEP13Hsb_Component(slot, component);
    if (active != nullptr) {
        active->call(ControllerParts::kInserted);
    }
    return result;
}
}

ControllerParts::ControllerParts(std::function<bool(const std::string&)> calls) : call(std::move(calls)) {
    active = this;
}

ControllerParts::~ControllerParts() {
    active = nullptr;
}

OrvCHMesgQ* ControllerParts::queue() {
    return lastQueue;
}
