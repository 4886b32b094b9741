#include "callhome/OrvCHIncoming.h"

#include "Sw_Log_Type.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesgq/OrvCHMesgQ.h"
#include "orvClient.h"
#include "profile/OrvConfigListener.h"

#include <new>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCallHome";

// How long a mailed persistent message rests, and "without end": what every message is queued with.
constexpr std::uint32_t kRepostPeriod = 86400;
constexpr std::int32_t kNeverExpires = -1;

constexpr int kResultFailed = 1;
// A configuration that never ends keeps messages waiting; tell so now and then.
constexpr std::size_t kTraceEvery = 1000;

// The log types that reach CallHome.
bool isForCallHome(std::int32_t kind) {
    return kind == 0 || kind == 2 || kind == 3;
}

}  // namespace

std::unique_ptr<OrvCHMesg> OrvCHIncoming::newEventMesg() {
    std::unique_ptr<OrvCHMesg> mesg(new (std::nothrow) OrvCHMesg(OrvCHMesg::kLogEvent));
    // The message may have been had without the event's data.
    if (mesg == nullptr || mesg->logEvent() == nullptr) {
        orvMemoryAlarm();
        return nullptr;
    }
    return mesg;
}

// build fills the message: negative when it could not.
template <typename Build>
int OrvCHIncoming::submitNew(const Build& build) {
    std::unique_ptr<OrvCHMesg> mesg = newEventMesg();
    if (mesg == nullptr) {
        return -1;
    }
    if (build(*mesg) < 0) {
        orvMemoryAlarm();
        return -1;
    }
    incomingMesgQ_.push_back(std::move(mesg));
    if (incomingMesgQ_.size() % kTraceEvery == 0) {
        orvTrace(kTraceModule, "submit", "%zu messages are waiting for the configuration\n", incomingMesgQ_.size());
    }
    return processIncomingMesgQ();
}

int OrvCHIncoming::takeLogEvent(std::span<const std::uint8_t> data) {
    Sw_Log_Type record;
    if (Sw_Log_Type::decode(data, record) < 0) {
        ORV_TRACE("log event of %zu bytes ignored\n", data.size());
        return -1;
    }
    return takeRecord(record);
}

int OrvCHIncoming::takeRecord(const Sw_Log_Type& record) {
    if (!isForCallHome(record.kind)) {
        return 0;
    }
    if (!setUp_.condition[OrvCHSetUp::kStarted]) {
        if (setUp_.condition.count() == setUp_.condition.size() - 1) {
            eventRing_.keep(record);
        }
        return 0;
    }
    // The daemon's own entries never come back as mail.
    if (!setUp_.condition.all() || record.flags == kOrvOwnEntryFlags) {
        return 0;
    }
    return submitNew([&record](OrvCHMesg& mesg) { return mesg.extractData(record); });
}

void OrvCHIncoming::processIncomingLogEventQ() {
    static const char* const kMethod = __func__;
    eventRing_.drain([](std::uint32_t bucket) { orvTrace(kTraceModule, kMethod, "incomingLogEventQ[%u]\n", bucket); },
                     [this](const Sw_Log_Type& record) {
                         orvTrace(kTraceModule, kMethod, "event: %s\n", record.text.c_str());
                         takeRecord(record);
                     });
}

int OrvCHIncoming::setSwitchState(const std::string& state) {
    if (state == SwitchOperState_) {
        return 0;
    }
    SwitchOperState_ = state;
    if (!setUp_.serviceAllowed()) {
        return 0;
    }
    return submitNew([&state](OrvCHMesg& mesg) { return mesg.buildSwitchStateData(state); });
}

int OrvCHIncoming::queuePowerUpMesg() {
    return submitNew([](OrvCHMesg& mesg) { return mesg.buildSwitchPowerUpData(); });
}

int OrvCHIncoming::queueTestMesg(const std::string& profile) {
    return submitNew([&profile](OrvCHMesg& mesg) { return mesg.buildTestData(profile); });
}

int OrvCHIncoming::processIncomingMesgQ() {
    if (!setUp_.readyForMessage || queue_.busy()) {
        return 0;
    }
    while (!incomingMesgQ_.empty()) {
        std::unique_ptr<OrvCHMesg> mesg = std::move(incomingMesgQ_.front());
        incomingMesgQ_.pop_front();
        if (mesg->TestProfile.empty()) {
            matchAndQueue(std::move(mesg));
        } else if (!processTestMesg(std::move(mesg))) {
            return 0;  // Kept: one refusal a call; the rest waits for the next.
        }
    }
    return 0;
}

void OrvCHIncoming::keepIncomingMesgs() {
    for (std::size_t before = incomingMesgQ_.size() + 1; !incomingMesgQ_.empty() && incomingMesgQ_.size() < before;) {
        before = incomingMesgQ_.size();
        processIncomingMesgQ();
    }
}

// False when the test was refused.
bool OrvCHIncoming::processTestMesg(std::unique_ptr<OrvCHMesg> mesg) {
    if (refuseTest(mesg->TestProfile)) {
        return false;
    }
    OrvCHProfile* profile = setUp_.profileByName(mesg->TestProfile);
    if (profile == nullptr) {
        return true;
    }
    constexpr bool kTestMode = true;
    if (std::unique_ptr<OrvCHEnvelope> envelope = profile->envelopeFor(mesg->logEvent()->Level, kTestMode)) {
        mesg->addEnvelope(std::move(envelope));
        queueMesg(std::move(mesg));
    }
    return true;
}

bool OrvCHIncoming::refuseTest(const std::string& profile) {
    const OrvLogEntry<const char*>* refusal = nullptr;
    if (!setUp_.serviceAllowed()) {
        refusal = &orv_log::kTestServiceDisabled;
    } else if (!setUp_.condition[OrvCHSetUp::kServersUsable]) {
        refusal = &orv_log::kTestNoServer;
    } else if (!setUp_.condition[OrvCHSetUp::kSenderConfigured]) {
        refusal = &orv_log::kTestNoSender;
    } else if (setUp_.config[OrvConfigListener::kProfiles]) {
        refusal = &orv_log::kTestUpdating;
    } else {
        return false;
    }
    orvLog(*refusal, profile.c_str());
    if (responses_.CH_TestProfileResults(kResultFailed, profile) < 0) {
        orvLog(orv_log::kTestResultUnsent, profile.c_str());
    }
    return true;
}

void OrvCHIncoming::matchAndQueue(std::unique_ptr<OrvCHMesg> mesg) {
    for (const auto& profile : setUp_.profiles) {
        if (std::unique_ptr<OrvCHEnvelope> envelope = profile->envelopeFor(mesg->logEvent()->Level, false)) {
            mesg->addEnvelope(std::move(envelope));
        }
    }
    if (!mesg->Envelopes.empty()) {
        queueMesg(std::move(mesg));
    }
}

int OrvCHIncoming::queueMesg(std::unique_ptr<OrvCHMesg> mesg) {
    const bool test = !mesg->TestProfile.empty();
    return queue_.add(std::move(mesg), test, false, kRepostPeriod, kNeverExpires, false);
}

void OrvCHIncoming::clearIncomingMesgQ() {
    ORV_TRACE("Entry\n");
    incomingMesgQ_.clear();
}
