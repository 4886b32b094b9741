// What happens on the switch becomes messages, and messages find their profiles on their way to the queue.
//
// In traces it goes by the controller's name, OrvCallHome. Main thread only.
#pragma once

#include "callhome/OrvCHSetUp.h"
#include "callhome/OrvEventRing.h"
#include "mesg/OrvCHMesg.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>

class OrvCHMesgQ;
class orvClient;

class OrvCHIncoming {
public:
    // All three must outlive this object.
    OrvCHIncoming(const OrvCHSetUp& setUp, OrvCHMesgQ& queue, orvClient& responses)
        : setUp_(setUp), queue_(queue), responses_(responses) {}

    // Each makes a message of what has happened. 0, or -1 when there was no memory or the data was of no use.
    int takeLogEvent(std::span<const std::uint8_t> data);
    int setSwitchState(const std::string& state);
    int queuePowerUpMesg();
    int queueTestMesg(const std::string& profile);

    // Puts the events of the ring back through the intake.
    void processIncomingLogEventQ();

    // Matches and queues what waits, unless the configuration is being read or the queue is busy.
    int processIncomingMesgQ();
    // The daemon stops: what waits is matched and queued now.
    void keepIncomingMesgs();
    void clearIncomingMesgQ();
    // A message that has its envelopes. 0, or -1 when the queue refused it.
    int queueMesg(std::unique_ptr<OrvCHMesg> mesg);

    const std::string& switchOperState() const { return SwitchOperState_; }

private:
    // Null, after the memory alarms, when there is no memory.
    static std::unique_ptr<OrvCHMesg> newEventMesg();
    template <typename Build>
    int submitNew(const Build& build);
    int takeRecord(const Sw_Log_Type& record);
    bool processTestMesg(std::unique_ptr<OrvCHMesg> mesg);
    bool refuseTest(const std::string& profile);
    void matchAndQueue(std::unique_ptr<OrvCHMesg> mesg);

    const OrvCHSetUp& setUp_;
    OrvCHMesgQ& queue_;
    orvClient& responses_;
    OrvEventRing eventRing_;
    std::deque<std::unique_ptr<OrvCHMesg>> incomingMesgQ_;
    std::string SwitchOperState_;
};
