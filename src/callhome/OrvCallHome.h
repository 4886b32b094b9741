// CallHome's controller: decides whether CallHome may send, reads the configuration, turns what happens on the
// switch into messages for the matching profiles, and answers management.
//
// It puts its parts together: the queue, the switch identity, the send client and the capture controller, and what
// decides between them. It lives inside OrvApp. Main thread only.
#pragma once

#include "callhome/OrvCHConfigCycle.h"
#include "callhome/OrvCHIncoming.h"
#include "callhome/OrvCHRequests.h"
#include "callhome/OrvCHSetUp.h"
#include "capture/OrvCHCapture.h"
#include "dsClient.h"
#include "mesgq/OrvCHMesgQ.h"
#include "orvClient.h"
#include "profile/OrvCHMesgCommon.h"
#include "profile/OrvConfigListener.h"
#include "profile/OrvIdentityListener.h"
#include "smtp/OrvCHClient.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>

class Hsb_Message;

class OrvCallHome final : public OrvConfigListener, private OrvIdentityListener, private OrvCaptureSink {
public:
    OrvCallHome(dsClient& store, orvClient& responses, const OrvSMTPDialogue& dialogue = orvRequiredDialogue());
    ~OrvCallHome();

    // The configuration monitor has spoken: the queue may open.
    void monitorReady();
    // Starts a configuration read cycle, or counts the request when one is running.
    void readConfig() { cycle_.readConfig(); }
    void readSwitchOperState() { cycle_.readSwitchOperState(); }
    // Starts both worker threads; -1 when either could not be started.
    int startThreads();

    // The daemon stops: no further mail is started.
    void stopSending() { client_.stopSending(); }
    // A mail is under way.
    bool sending() { return client_.sending(); }
    // The daemon stops: what waits for the next tick is matched and queued now. Only the queue outlives the process.
    void keepIncomingMesgs() { incoming_.keepIncomingMesgs(); }

    // Answers of the attribute store, routed by request id. -1 when an answer was not usable.
    int processConfigBulk(const DsBulkReply& reply) { return cycle_.processConfigBulk(reply); }
    int processConfig(const DsAttrReply& reply) { return cycle_.processConfig(reply); }
    int processDsStatus(const DsStatusReply& reply) { return cycle_.processDsStatus(reply); }
    // A bulk answer came that nobody can decode.
    void bulkReplyLost() { identity_.abandonRead(); }
    // A part of the configuration has been read or has failed.
    void configComplete(unsigned bit) override { cycle_.configComplete(bit); }

    // Events of the switch. Empty data counts as none at all.
    int takeLogEvent(std::span<const std::uint8_t> data) { return incoming_.takeLogEvent(data); }
    int setSwitchState(const std::string& state) { return incoming_.setSwitchState(state); }
    int setSwitchHostname(std::span<const std::uint8_t> text);
    int setSwitchAddr(std::span<const std::uint8_t> data);
    int queuePowerUpMesg() { return incoming_.queuePowerUpMesg(); }
    // Puts the events of the ring back through the intake.
    void processIncomingLogEventQ() { incoming_.processIncomingLogEventQ(); }

    // A management request. 0, or -1 when it was refused without an answer.
    int processOrvMsg(const Hsb_Message& message) { return requests_.processOrvMsg(message); }

    void oneSecondTick();
    void probe();

private:
    // Capture results and identity.
    OrvCHProfile* profileByName(const std::string& name) override { return setUp_.profileByName(name); }
    int enqueue(std::unique_ptr<OrvCHMesg> mesg) override { return incoming_.queueMesg(std::move(mesg)); }
    void identityAddressRead(const std::string& address) override;
    void identityWwnRead(const std::string& wwn) override;

    void probeProfiles();

    // The queue first: it makes the directories that the capture sequence is kept in.
    OrvCHMesgQ queue_;
    OrvCHMesgCommon identity_;
    OrvCHClient client_;
    OrvCHCapture capture_;
    OrvCHConfigCycle cycle_;
    OrvCHSetUp setUp_;
    OrvCHIncoming incoming_;
    OrvCHRequests requests_;
};
