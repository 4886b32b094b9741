// What happens on the switch becomes messages, and messages find their profiles.
#include "callhome/OrvCallHome.h"

#include "Sw_Log_Type.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesg/OrvCHMesg.h"
#include "word_order.h"

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

std::unique_ptr<OrvCHMesg> OrvCallHome::newEventMesg() {
    std::unique_ptr<OrvCHMesg> mesg(new (std::nothrow) OrvCHMesg(OrvCHMesg::kLogEvent));
    // The message may have been had without the event's data.
    if (mesg == nullptr || mesg->logEvent() == nullptr) {
        orvMemoryAlarm();
        return nullptr;
    }
    return mesg;
}

int OrvCallHome::takeLogEvent(std::span<const std::uint8_t> data) {
    Sw_Log_Type record;
    if (Sw_Log_Type::decode(data, record) < 0) {
        ORV_TRACE("log event of %zu bytes ignored\n", data.size());
        return -1;
    }
    return takeRecord(record);
}

int OrvCallHome::takeRecord(const Sw_Log_Type& record) {
    if (!isForCallHome(record.kind)) {
        return 0;
    }
    if (!Condition_[kStarted]) {
        if (Condition_.count() == Condition_.size() - 1) {
            eventRing_.keep(record);
        }
        return 0;
    }
    // The daemon's own entries never come back as mail.
    if (!Condition_.all() || record.flags == kOrvOwnEntryFlags) {
        return 0;
    }
    std::unique_ptr<OrvCHMesg> mesg = newEventMesg();
    if (mesg == nullptr) {
        return -1;
    }
    const int built = mesg->extractData(record);
    return submit(std::move(mesg), built);
}

void OrvCallHome::processIncomingLogEventQ() {
    static const char* const kMethod = __func__;
    eventRing_.drain([](std::uint32_t bucket) { orvTrace(kTraceModule, kMethod, "incomingLogEventQ[%u]\n", bucket); },
                     [this](const Sw_Log_Type& record) {
                         orvTrace(kTraceModule, kMethod, "event: %s\n", record.text.c_str());
                         takeRecord(record);
                     });
}

int OrvCallHome::setSwitchState(const std::string& state) {
    if (state == SwitchOperState_) {
        return 0;
    }
    SwitchOperState_ = state;
    if (!Condition_[kFeatureAllowed] || !Condition_[kServiceEnabled]) {
        return 0;
    }
    std::unique_ptr<OrvCHMesg> mesg = newEventMesg();
    if (mesg == nullptr) {
        return -1;
    }
    const int built = mesg->buildSwitchStateData(state);
    return submit(std::move(mesg), built);
}

int OrvCallHome::queuePowerUpMesg() {
    std::unique_ptr<OrvCHMesg> mesg = newEventMesg();
    if (mesg == nullptr) {
        return -1;
    }
    const int built = mesg->buildSwitchPowerUpData();
    return submit(std::move(mesg), built);
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

int OrvCallHome::submit(std::unique_ptr<OrvCHMesg> mesg, int built) {
    if (built < 0) {
        orvMemoryAlarm();
        return -1;
    }
    incomingMesgQ_.push_back(std::move(mesg));
    if (incomingMesgQ_.size() % kTraceEvery == 0) {
        ORV_TRACE("%zu messages are waiting for the configuration\n", incomingMesgQ_.size());
    }
    return processIncomingMesgQ();
}

int OrvCallHome::processIncomingMesgQ() {
    if (!ReadyForMessage_ || queue_.busy()) {
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

void OrvCallHome::keepIncomingMesgs() {
    for (std::size_t before = incomingMesgQ_.size() + 1; !incomingMesgQ_.empty() && incomingMesgQ_.size() < before;) {
        before = incomingMesgQ_.size();
        processIncomingMesgQ();
    }
}

// False when the test was refused.
bool OrvCallHome::processTestMesg(std::unique_ptr<OrvCHMesg> mesg) {
    if (refuseTest(mesg->TestProfile)) {
        return false;
    }
    OrvCHProfile* profile = profileByName(mesg->TestProfile);
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

bool OrvCallHome::refuseTest(const std::string& profile) {
    const OrvLogEntry<const char*>* refusal = nullptr;
    if (!Condition_[kFeatureAllowed] || !Condition_[kServiceEnabled]) {
        refusal = &orv_log::kTestServiceDisabled;
    } else if (!Condition_[kServersUsable]) {
        refusal = &orv_log::kTestNoServer;
    } else if (!Condition_[kSenderConfigured]) {
        refusal = &orv_log::kTestNoSender;
    } else if (Config_[kProfiles]) {
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

void OrvCallHome::matchAndQueue(std::unique_ptr<OrvCHMesg> mesg) {
    for (const auto& profile : profiles_) {
        if (std::unique_ptr<OrvCHEnvelope> envelope = profile->envelopeFor(mesg->logEvent()->Level, false)) {
            mesg->addEnvelope(std::move(envelope));
        }
    }
    if (!mesg->Envelopes.empty()) {
        queueMesg(std::move(mesg));
    }
}

int OrvCallHome::queueMesg(std::unique_ptr<OrvCHMesg> mesg) {
    const bool test = !mesg->TestProfile.empty();
    return queue_.add(std::move(mesg), test, false, kRepostPeriod, kNeverExpires, false);
}

int OrvCallHome::enqueue(std::unique_ptr<OrvCHMesg> mesg) {
    return queueMesg(std::move(mesg));
}

void OrvCallHome::clearIncomingMesgQ() {
    ORV_TRACE("Entry\n");
    incomingMesgQ_.clear();
}
