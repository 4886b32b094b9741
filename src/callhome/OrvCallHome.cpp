#include "callhome/OrvCallHome.h"

#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvGuard.h"
#include "word_order.h"

namespace {

constexpr char kTraceModule[] = "OrvCallHome";

}  // namespace

OrvCallHome::OrvCallHome(dsClient& store, orvClient& responses, const OrvSMTPDialogue& dialogue)
    : queue_(store, responses, *this),
      identity_(store, *this, *this),
      client_(store, queue_, identity_, *this, {}, OrvSMTPSystem::real(), dialogue),
      capture_(*this),
      cycle_(store, setUp_, {queue_, identity_, client_, capture_, incoming_}),
      incoming_(setUp_, queue_, responses),
      requests_(responses, setUp_, cycle_, incoming_, queue_, client_) {
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
    orvGuarded("processIncomingMesgQ", [this] { return incoming_.processIncomingMesgQ(); });
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
        setUp_.readyForMessage ? 1 : 0, incoming_.switchOperState().c_str(), cycle_.numOfProfiles(),
        static_cast<unsigned>(setUp_.condition.to_ulong()), static_cast<unsigned>(setUp_.config.to_ulong()),
        cycle_.requestsPending());
    queue_.probe();
    probeProfiles();
    capture_.probe();
    client_.probe();
    identity_.probe();
}

void OrvCallHome::probeProfiles() {
    ORV_TRACE("Entry...\n\n");
    for (const auto& profile : setUp_.profiles) {
        profile->dumpProfileInfo(capture_.scheduled(profile->capture()));
    }
    if (setUp_.profiles.empty()) {
        ORV_TRACE(" ------------------------------------------\n");
        ORV_TRACE(" ---- there are no configured profiles ----\n");
        ORV_TRACE(" ------------------------------------------\n\n");
    }
}

int OrvCallHome::setSwitchHostname(std::span<const std::uint8_t> text) {
    if (text.empty()) {
        ORV_TRACE("Invalid hostname data received!\n");
        return -1;
    }
    identity_.setHostname(orvTextUpToNul(text));
    return 0;
}

int OrvCallHome::setSwitchAddr(std::span<const std::uint8_t> data) {
    constexpr std::size_t kLeadingWords = 8;
    if (data.size() < kLeadingWords) {
        ORV_TRACE("Invalid address data received!\n");
        return -1;
    }
    if (bigEndian32(data) != bigEndian32(data.subspan(4))) {
        return 0;
    }
    if (identity_.setSwitchAddr(data.subspan(kLeadingWords)) < 0) {
        return -1;
    }
    const OrvIdentity identity = identity_.current();
    if (!identity.IPv4Address.empty() || !identity.IPv6Address.empty()) {
        client_.switchAddressChanged();
    }
    return 0;
}

void OrvCallHome::identityAddressRead(const std::string& address) {
    if (!address.empty()) {
        client_.switchAddressChanged();
    }
}

void OrvCallHome::identityWwnRead(const std::string& /*wwn*/) {
}
