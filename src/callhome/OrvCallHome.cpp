// Construction, the tick and the state dump; what the controller does stands in its other source files.
#include "callhome/OrvCallHome.h"

#include "dbg/OrvDbg.h"
#include "dbg/OrvGuard.h"

namespace {

constexpr char kTraceModule[] = "OrvCallHome";

}  // namespace

OrvCallHome::OrvCallHome(dsClient& store, orvClient& responses)
    : store_(store),
      responses_(responses),
      queue_(store, responses, *this),
      identity_(store, *this, *this),
      client_(store, queue_, identity_, *this),
      capture_(*this) {
}

OrvCallHome::~OrvCallHome() {
    // The send thread may be waiting for an answer that now never comes, and is waited for itself.
    identity_.abandonRead();
}

void OrvCallHome::monitorReady() {
    queue_.setMonitorReady();
}

int OrvCallHome::startThreads() {
    ORV_TRACE("Entry\n");
    const int client = client_.startThread();
    const int capture = capture_.start();
    return client < 0 || capture < 0 ? -1 : 0;
}

void OrvCallHome::oneSecondTick() {
    // Each is guarded by itself: one that fails must not stop the others.
    orvGuarded("processIncomingMesgQ", [this] { return processIncomingMesgQ(); });
    orvGuarded("captureTick", [this] {
        // Before the queue is open the start-up collection may still empty the attachments directory.
        capture_.tick(queue_.openForBusiness());
        return 0;
    });
    orvGuarded("oneSecondChores", [this] {
        queue_.oneSecondChores();
        return 0;
    });
    orvGuarded("oneSecondTick", [this] {
        client_.oneSecondTick();
        return 0;
    });
}

void OrvCallHome::probe() {
    ORV_TRACE("Entry\n");
    ORV_TRACE(
        "CallHome State Information:\nReadyForMessage = %d\nSwitchOperState = %s\nNumOfProfiles = %d\n"
        "Condition = %#x\nConfig = %#x\nConfigRequestsPending = %d\n\n",
        ReadyForMessage_ ? 1 : 0, SwitchOperState_.c_str(), NumOfProfiles_,
        static_cast<unsigned>(Condition_.to_ulong()), static_cast<unsigned>(Config_.to_ulong()),
        ConfigRequestsPending_);
    queue_.probe();
    probeProfiles();
    capture_.probe();
    client_.probe();
    identity_.probe();
}

void OrvCallHome::probeProfiles() {
    ORV_TRACE("Entry...\n\n");
    for (const auto& profile : profiles_) {
        profile->dumpProfileInfo(capture_.scheduled(profile->capture()));
    }
    if (profiles_.empty()) {
        ORV_TRACE(" ------------------------------------------\n");
        ORV_TRACE(" ---- there are no configured profiles ----\n");
        ORV_TRACE(" ------------------------------------------\n\n");
    }
}

OrvCHProfile* OrvCallHome::profileByName(const std::string& name) {
    for (const auto& profile : profiles_) {
        if (profile->name() == name) {
            return profile.get();
        }
    }
    return nullptr;
}

void OrvCallHome::identityAddressRead(const std::string& address) {
    if (!address.empty()) {
        client_.switchAddressChanged();
    }
}

void OrvCallHome::identityWwnRead(const std::string& /*wwn*/) {
}
