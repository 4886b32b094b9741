// Life of the component: construction, joining the bus, readiness, the tick, and the end.
#include "app/OrvApp.h"

#include "Dispatcher.h"
#include "Timeval.h"
#include "base/OrvTell.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"

#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr char kTraceModule[] = "OrvApp";
// A mail server that takes longer gets the mail again after the next start.
constexpr unsigned kStopPatience = 5;  // seconds
constexpr char kNoConfiguration[] = "no configuration is read: nothing is mailed until the daemon is started again";
constexpr char kComponentName[] = {'O', 'r', 'v', 'A', 'p', 'p'};

std::atomic<bool> stopAlarmed{false};
static_assert(std::atomic<bool>::is_always_lock_free);  // a signal handler writes it

extern "C" void endStopPatience(int /*signal*/) {
    const int error = errno;
    stopAlarmed = true;
    Dispatcher::instance()->wake();
    errno = error;
}

// The patience of a stop, by the system's alarm: a rehearsal may hold or turn every clock, and a supervisor does not
// wait for those.
class StopAlarm {
public:
    StopAlarm() {
        stopAlarmed = false;
        std::signal(SIGALRM, endStopPatience);
        alarm(kStopPatience);
    }
    ~StopAlarm() { alarm(0); }
    StopAlarm(const StopAlarm&) = delete;
    StopAlarm& operator=(const StopAlarm&) = delete;
};

}  // namespace

OrvApp::Named::Named(OrvApp* app) {
    setOrvApplication(app);
}

OrvApp::Named::~Named() {
    setOrvApplication(nullptr);
}

OrvApp::OrvApp() : callHome_(ds_, responses_), tick_(*this) {
    ORV_TRACE("Application startup!\n");
    if (slot_.insert(this) < 0) {
        ORV_TRACE("Unable to insert into the bus!!!!. Exiting...\n");
        orvLog(kOrvLogInternal, "Unable to insert into the bus!!!!. Exiting...");
        std::exit(1);
    }
    threadsStarted_ = 0;
    ensReady_ = 0;
    reserved_ = 0;
    createMonitorClient();
}

void OrvApp::createMonitorClient() {
    try {
        cmon_ = std::make_unique<cmon_client>(this);
    } catch (...) {
        orvMemoryAlarm();
        orvTrace(kTraceModule, "OrvApp", "Failure to allocate cmon_client object\n");
        std::exit(1);
    }
    if (readyBeforeMonitor_) {
        tellReadyForConf();
    }
}

// Kept: the subscriptions to (2, 56) and (90, 0) are left in place.
OrvApp::~OrvApp() {
    tick_.cancel();
    unsubscribeConsumer(1, 0);
    unsubscribeConsumer(66, 3);
    cmon_.reset();
    slot_.remove();
    ORV_TRACE("Application exiting...\n");
}

int OrvApp::component_name(char* buffer, int length) {
    constexpr int kLength = sizeof kComponentName;
    if (length < kLength) {
        return -1;
    }
    std::memcpy(buffer, kComponentName, sizeof kComponentName);
    return kLength;
}

// The readiness bits say that a request was sent, not that it was answered.
int OrvApp::inserted() {
    if (Cns_Registration(this, 1, 0).add() == -1) {
        syslog(LOG_NOTICE, "orvApp Registration with CNS failed.\n");
        orvTell("no request of management finds the daemon until it is started again");
    }
    ensLookupTag_ = Ens::lookup_server(this);
    if (ensLookupTag_ != kNoTag) {
        readyBits_ |= kEnsLookupSent;
    } else {
        syslog(LOG_NOTICE, "ENS server lookup failed!\n");
        orvTell("%s", kNoConfiguration);
    }
    if (ds_.init(this, this) == 0) {
        syslog(LOG_NOTICE, "DS API init failed!\n");
        orvTell("%s", kNoConfiguration);
    }
    smLookupTag_ = Cns_Lookup(3, "SM", 2, "primary", 7, 128).send(this);
    if (smLookupTag_ != kNoTag) {
        readyBits_ |= kSmLookupSent;
    } else {
        syslog(LOG_NOTICE, "SM lookup failed!\n");
        orvTell("%s", kNoConfiguration);
    }
    return 0;
}

void OrvApp::DSApiReady() {
    orvGuarded("DSApiReady", [this] {
        readyBits_ |= kDsReady;
        if (!requiredAddressesInitialized()) {
            // Kept: the stray double quote. Nothing retries later.
            orvTrace(kTraceModule, "DSApiReady", "\n\"---- requiredAddressesInitialized() FAILED\n\n");
            return 0;
        }
        if (cmon_ == nullptr) {
            readyBeforeMonitor_ = true;
            return 0;
        }
        tellReadyForConf();
        return 0;
    });
}

void OrvApp::tellReadyForConf() {
    if (cmon_->ready_for_conf() < 0) {
        orvTrace(kTraceModule, "DSApiReady", "error from ready_for_conf\n");
        orvAlarm("Error returned from ready_for_conf()");
        orvTell("%s", kNoConfiguration);
    }
}

int OrvApp::tryStartFileSync() {
    ORV_TRACE("Entry\n");
    return -1;
}

void OrvApp::startTick() {
    tick_.cancel();
    tick_.set(Timeval(1, 0), true);
    if (tick_.start() < 0) {
        ORV_TRACE("the one-second timer could not be started\n");
        orvTell("the one-second timer does not run: nothing is mailed until the daemon is started again");
    }
}

void OrvApp::finishMail() {
    callHome_.stopSending();
    awaitEndOfMail();
    orvBestEffort(__func__, [this] { callHome_.keepIncomingMesgs(); });
}

void OrvApp::awaitEndOfMail() {
    const StopAlarm patience;
    while (callHome_.sending() && !stopAlarmed) {
        int served = 0;
        // Not through the bus: it may be gone, and what the send thread says comes all the same.
        orvBestEffort(__func__, [&] { served = Dispatcher::instance()->handle_events(nullptr); });
        if (served < 0) {
            return;
        }
    }
}
