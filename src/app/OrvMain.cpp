#include "app/OrvMain.h"

#include "Cns.h"
#include "Ens.h"
#include "Hsb.h"
#include "Log_Event.h"
#include "app/OrvApp.h"
#include "base/OrvShell.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "hold_switch.h"
#include "orv_build_choices.h"
#include "smtp/OrvSMTPDialogue.h"
#include "thread/OrvThreadExit.h"

#include <syslog.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <new>

namespace {

constexpr char kTraceModule[] = "main";

OrvDbg* mainLogger = nullptr;  // lives as long as the process

// A step that throws is one that has failed.
template <typename Step>
int attempt(Step&& step, int failed) {
    try {
        return step();
    } catch (...) {
        return failed;
    }
}

// Before anything is touched: a word that was mistyped must not pass for the other one.
const OrvSMTPDialogue& chooseDialogue() {
    constexpr int kWrongUsage = 2;
    constexpr char kVariable[] = "ORV_SMTP_DIALOGUE";
    const char* const told = std::getenv(kVariable);
    const char* const name = told != nullptr ? told : ORV_SMTP_DIALOGUE_DEFAULT;
    if (const OrvSMTPDialogue* const dialogue = orvDialogueNamed(name); dialogue != nullptr) {
        return *dialogue;
    }
    constexpr char kLine[] = "%s=%s is neither required nor conforming\n";
    std::fputs("orvApp: ", stderr);
    std::fprintf(stderr, kLine, kVariable, name);
    syslog(LOG_NOTICE, kLine, kVariable, name);
    std::exit(kWrongUsage);
}

// Against a second daemon on this switch.
void holdSwitch() {
    if (hold_switch("OrvApp") < 0) {
        std::exit(1);
    }
}

void joinPlatform() {
    if (attempt([] { return Hsb::instance()->init(64, 0, 0); }, 0) == 0) {
        syslog(LOG_NOTICE, "HSB initialization failed\n");
        std::exit(0);
    }
    holdSwitch();  // what there was not yet before the switch came to the bus
    if (attempt([] { return Cns::instance()->init(0); }, 0) == 0) {
        syslog(LOG_NOTICE, "CNS initialization failed\n");
    }
    if (attempt([] { return Ens::instance()->init(); }, 0) == 0) {
        syslog(LOG_NOTICE, "ENS initialization failed\n");
    }
}

Log_Event& eventLog() {
    if (Log_Event::instance_m == nullptr) {
        Log_Event::instance_m = new (std::nothrow) Log_Event;
    }
    if (Log_Event::instance_m == nullptr) {
        syslog(LOG_NOTICE, "Log_Event allocation failed\n");
        std::exit(0);
    }
    return *Log_Event::instance_m;
}

OrvApp& createApplication(const OrvSMTPDialogue& dialogue) {
    try {
        auto* const application = new OrvApp(dialogue);  // kept to the end of the process
        setOrvApplication(application);
        return *application;
    } catch (const std::exception& exception) {
        ORV_TRACE("%s\n", exception.what());
    } catch (const char* text) {
        ORV_TRACE("%s\n", text);
    } catch (...) {
        ORV_TRACE("unknown exception\n");
    }
    syslog(LOG_NOTICE, "OrvApp allocation failed\n");
    std::exit(0);
}

}  // namespace

void orvSetUpMainLogger() {
    if (OrvDbg::createKey() < 0) {
        syslog(LOG_NOTICE, "Failed to initialize main thread logging key\n");
        std::exit(0);
    }
    try {
        mainLogger = new OrvDbg("orv.out.Main");
    } catch (...) {
        syslog(LOG_NOTICE, "Failed to allocate main thread logging object\n");
        std::exit(0);
    }
    if (OrvDbg::setOfThread(mainLogger) < 0) {
        syslog(LOG_NOTICE, "Failed to set main thread specific logging reference\n");
        std::exit(0);
    }
}

int orvMain() {
    orvPrepareThreadExit();
    tzset();
    openlog("orvApp", 0, LOG_USER);
    const OrvSMTPDialogue& dialogue = chooseDialogue();
    holdSwitch();  // before the logger empties the trace of whoever is there
    orvSetUpMainLogger();
    // A mail server that closes early must not end the daemon.
    std::signal(SIGPIPE, SIG_IGN);
    joinPlatform();
    eventLog().open();
    OrvApp& application = createApplication(dialogue);
    if (attempt([] { return Hsb::instance()->handle_events(nullptr); }, -1) < 0) {
        orvEndShells();
        std::exit(0);
    }
    application.finishMail();
    orvEndShells();
    eventLog().close();
    // Each by itself: one that finds no memory must not make a failure of an orderly end.
    attempt([] { return Ens::instance()->shutdown(), 0; }, 0);
    attempt([] { return Cns::instance()->shutdown(), 0; }, 0);
    attempt([] { return Hsb::instance()->shutdown(), 0; }, 0);
    return 0;
}
