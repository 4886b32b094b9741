#include "testing/app/MainSteps.h"

#include "Cns.h"
#include "Ens.h"
#include "Hsb.h"
#include "Log_Event.h"
#include "app_log.h"
#include "base/OrvText.h"
#include "catalogue/OrvEventCatalogue.h"
#include "dbg/OrvEventLog.h"
#include "testing/app/WatchedSlot.h"

#include <syslog.h>

#include <cerrno>
#include <cstdarg>
#include <utility>

namespace {

MainSteps* active = nullptr;
MemoryFaults noMemory;

bool begins(const std::string& text, const std::string& start) {
    return !start.empty() && text.starts_with(start);
}

// The next allocation fails, or none does.
void setNoMemory(bool fails) {
    MemoryFaults::use(nullptr);
    if (fails) {
        noMemory.kinds = MemoryFaults::kObjects;
        noMemory.first = noMemory.seen + 1;
        noMemory.watched = true;
        MemoryFaults::use(&noMemory);
    }
}

// False when the step shall fail.
bool step(const std::string& text) {
    if (active == nullptr) {
        return true;
    }
    active->tell(text);
    setNoMemory(begins(text, active->noMemoryAfter));
    return !begins(text, active->failing) && !begins(text, active->alsoFailing);
}

int stepOfCall(const CallFaults::Made& made) {
    if (made.call == "pthread_key_create" || made.call == "pthread_setspecific") {
        return step(std::string(made.call)) ? 0 : ENOMEM;
    }
    // Made more than once: told only by what becomes of it.
    return active != nullptr && made.call == "pipe2" && active->failing == made.call ? EMFILE : 0;
}

}  // namespace

extern "C" {
void __real_tzset();

void __wrap_tzset() {
    step("tzset");
    __real_tzset();
}

void __wrap_openlog(const char* name, int options, int facility) {
    step(orvFormat("openlog %s %d %d", name, options, facility));
}

__attribute__((format(printf, 2, 3))) void __wrap_syslog(int priority, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    step(orvFormat("syslog %d ", priority) + orvFormatV(format, arguments));
    va_end(arguments);
}
}

SteppedHsb* SteppedHsb::instance() {
    static SteppedHsb hsb;
    return &hsb;
}

int SteppedHsb::init(int maxMessages, int flags, int options) {
    return step(orvFormat("Hsb::init %d %d %d", maxMessages, flags, options))
               ? Hsb::instance()->init(maxMessages, flags, options)
               : 0;
}

int SteppedHsb::handle_events(const Timeval* limit) {
    step(limit == nullptr ? "Hsb::handle_events without limit" : "Hsb::handle_events");
    return active != nullptr && active->serve ? active->serve() : Hsb::instance()->handle_events(limit);
}

void SteppedHsb::shutdown() {
    step("Hsb::shutdown");
    Hsb::instance()->shutdown();
}

SteppedCns* SteppedCns::instance() {
    static SteppedCns cns;
    return &cns;
}

int SteppedCns::init(int options) {
    return step(orvFormat("Cns::init %d", options)) ? Cns::instance()->init(options) : 0;
}

void SteppedCns::shutdown() {
    step("Cns::shutdown");
    Cns::instance()->shutdown();
}

SteppedEns* SteppedEns::instance() {
    static SteppedEns ens;
    return &ens;
}

int SteppedEns::init() {
    return step("Ens::init") ? Ens::instance()->init() : 0;
}

void SteppedEns::shutdown() {
    step("Ens::shutdown");
    Ens::instance()->shutdown();
}

Log_Event* Log_Event::instance_m = nullptr;

void Log_Event::open() {
    step("Log_Event::open");
    open_ = true;
}

void Log_Event::close() {
    step("Log_Event::close");
    open_ = false;
}

// What the daemon writes itself must be in its catalogue: where it is not, the step says so in front.
static void logStep(const char* call, int level, std::uint32_t id, bool daemons, const std::string& text) {
    const bool known = !daemons || orvFindInCatalogue(level, id, text);
    step((known ? "" : "not in the daemon's catalogue: ") + orvFormat("%s %d %x ", call, level, id) + text);
}

static bool isDaemons(std::uint32_t flags, const Hsb_Component* component) {
    return flags == kOrvOwnEntryFlags && component == orvApplication();
}

void app_log(int level, std::uint32_t id, int, int, int, int, std::uint32_t flags, Hsb_Component* component,
             const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    logStep("app_log", level, id, isDaemons(flags, component), orvFormatV(format, arguments));
    va_end(arguments);
}

void switch_alarm(int level, std::uint32_t id, int, int, int, int, std::uint32_t flags, Hsb_Component* component,
                  const char* text) {
    logStep("switch_alarm", level, id, isDaemons(flags, component), text);
}

MainSteps::MainSteps(std::function<void(const std::string&)> tellStep)
    : tell(std::move(tellStep)), calls_("", "", stepOfCall) {
    active = this;
    // A late failure of memory concerns what follows the insertion.
    WatchedSlot::inserted = [](Hsb_Component*) { return step("Hsb_Slot::insert"); };
}

MainSteps::~MainSteps() {
    setNoMemory(false);
    active = nullptr;
    WatchedSlot::inserted = nullptr;
}
