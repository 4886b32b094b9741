#include "app/OrvApp.h"

#include "Dispatcher.h"
#include "Ens.h"
#include "Hsb_Message.h"
#include "MessageCodes.h"
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
#include <string_view>

namespace {

constexpr char kTraceModule[] = "OrvApp";
// A mail server that takes longer gets the mail again after the next start.
constexpr unsigned kStopPatience = 5;  // seconds
constexpr char kNoConfiguration[] = "no configuration is read: nothing is mailed until the daemon is started again";
constexpr char kComponentName[] = {'O', 'r', 'v', 'A', 'p', 'p'};

std::uint32_t lookUpManagement(Hsb_Component* component) {
    constexpr std::string_view name = CnsName::MANAGEMENT;
    constexpr std::string_view instance = CnsName::PRIMARY;
    return Cns_Lookup(CnsName::LOOKUP_KIND, name.data(), static_cast<int>(name.size()), instance.data(),
                      static_cast<int>(instance.size()), CnsName::LOOKUP_OPTIONS)
        .send(component);
}

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

OrvApp::OrvApp(const OrvSMTPDialogue& dialogue) : callHome_(ds_, responses_, dialogue), tick_(*this) {
    ORV_TRACE("Application startup!\n");
    if (slot_.insert(this) < 0) {
        ORV_TRACE("Unable to insert into the bus!!!!. Exiting...\n");
        orvLog(orv_log::kNoSlot);
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

OrvApp::~OrvApp() {
    tick_.cancel();
    subscriptions_.end();
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
    smLookupTag_ = lookUpManagement(this);
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
        orvAlarm(orv_log::kReadyFailed);
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

// --- Messages ---

struct OrvApp::Route {
    static constexpr int kAnyOther = -1;

    std::uint16_t format;
    int code;
    int (OrvApp::*handler)(const Hsb_Message& message);
};

// The first row that fits has the message.
const OrvApp::Route OrvApp::kRoutes[] = {
    {MessageFormat::CNS, CnsCode::LOOKUP_RESPONSE, &OrvApp::processLookupResponse},
    {MessageFormat::CNS, Route::kAnyOther, &OrvApp::ignore},
    {MessageFormat::ENS_EVENT, Route::kAnyOther, &OrvApp::processEventMsg},
    {MessageFormat::ENS, EnsCode::READY, &OrvApp::processEventServerReady},
    {MessageFormat::ENS, Route::kAnyOther, &OrvApp::refuseEnsCode},
    {MessageFormat::DS, Route::kAnyOther, &OrvApp::processDsMsg},
    {MessageFormat::CMON, CmonCode::READ_CONF, &OrvApp::readConfiguration},
    {MessageFormat::CMON, CmonCode::START, &OrvApp::startThreads},
    {MessageFormat::CMON, Route::kAnyOther, &OrvApp::refuseCmonCode},
    {MessageFormat::PROBE, Route::kAnyOther, &OrvApp::processProbeMsg},
    {MessageFormat::MANAGEMENT, Route::kAnyOther, &OrvApp::processOrvMsg},
};

int OrvApp::handle_message(Hsb_Message* message) {
    return orvGuarded("handle_message", [this, message] { return route(*message); });
}

int OrvApp::route(Hsb_Message& message) {
    for (const Route& each : kRoutes) {
        if (each.format == message.format() && (each.code == message.code() || each.code == Route::kAnyOther)) {
            return (this->*each.handler)(message);
        }
    }
    orvLog(orv_log::kUnknownFormat, kTraceModule, __LINE__, message.format(), message.code());
    return -1;
}

int OrvApp::processLookupResponse(const Hsb_Message& message) {
    const Cns_Lookup_Response response(message);
    // A lookup that was never sent has no tag to match.
    if (response.tag() == kNoTag) {
        return 0;
    }
    if (response.tag() == ensLookupTag_) {
        takeEnsServer(response.address());
    } else if (response.tag() == smLookupTag_) {
        takeManagement(response.address());
    }
    return 0;
}

void OrvApp::takeEnsServer(const Hsb_Address& address) {
    subscriptions_.setServer(address);
    startTick();
    subscriptions_.begin();
    callHome_.queuePowerUpMesg();
}

void OrvApp::takeManagement(const Hsb_Address& address) {
    smAddress_ = address;
    responses_.setReady(this, smAddress_);
}

int OrvApp::processEventMsg(const Hsb_Message& message) {
    return events_.process(Ens_Event(message));
}

int OrvApp::processEventServerReady(const Hsb_Message& /*message*/) {
    ensReady_ = 1;
    tryStartFileSync();
    return 0;
}

int OrvApp::processDsMsg(const Hsb_Message& message) {
    return answers_.process(message);
}

int OrvApp::readConfiguration(const Hsb_Message& /*message*/) {
    callHome_.readConfig();
    callHome_.readSwitchOperState();
    callHome_.monitorReady();
    if (cmon_ == nullptr || cmon_->conf_read_ack(0) < 0) {
        orvAlarm(orv_log::kAckFailed);
        orvTell("the threads are not started: nothing is mailed until the configuration is read again");
        return -1;
    }
    return 0;
}

int OrvApp::startThreads(const Hsb_Message& /*message*/) {
    threadsStarted_ = 1;
    callHome_.monitorReady();
    const int started = callHome_.startThreads();
    tryStartFileSync();
    return started;
}

int OrvApp::processProbeMsg(const Hsb_Message& message) {
    // Whatever happens on the way, a probe is answered.
    orvGuarded("probe", [this, &message] {
        if (message.code() == ProbeCode::DUMP_STATE) {
            callHome_.probe();
        } else {
            orvLog(orv_log::kUnknownProbe, message.code());
        }
        return 0;
    });
    return message.reply(MessageFormat::PROBE, ProbeCode::REPLY);
}

int OrvApp::processOrvMsg(const Hsb_Message& message) {
    const std::uint16_t code = message.code();
    const char* const name = OrvCHRequests::requestName(code);
    ORV_TRACE("code = %s(%d)\n", name == nullptr ? "?" : name, code);
    if (name == nullptr) {
        orvLog(orv_log::kUnknownRequest, code);
        return -1;
    }
    return callHome_.processOrvMsg(message);
}

int OrvApp::ignore(const Hsb_Message& /*message*/) {
    return 0;
}

int OrvApp::refuseEnsCode(const Hsb_Message& message) {
    orvLog(orv_log::kUnknownEnsCode, message.code());
    return -1;
}

int OrvApp::refuseCmonCode(const Hsb_Message& message) {
    orvLog(orv_log::kUnknownCmonCode, message.code());
    return -1;
}
