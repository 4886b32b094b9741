// CallHome's controller: decides whether CallHome may send, reads the configuration, turns what happens on the
// switch into messages for the matching profiles, and answers management.
//
// It owns the queue, the switch identity, the send client and the capture controller, and lives inside OrvApp.
// Main thread only.
#pragma once

#include "callhome/OrvEventRing.h"
#include "capture/OrvCHCapture.h"
#include "dsClient.h"
#include "mesgq/OrvCHMesgQ.h"
#include "orvClient.h"
#include "profile/OrvCHMesgCommon.h"
#include "profile/OrvCHProfile.h"
#include "profile/OrvConfigListener.h"
#include "profile/OrvIdentityListener.h"
#include "profile/OrvProfileReader.h"
#include "smtp/OrvCHClient.h"

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

class Hsb_Message;

class OrvCallHome final : public OrvConfigListener, private OrvIdentityListener, private OrvCaptureSink {
public:
    // What must be true before CallHome takes in events; bit numbers of Condition.
    enum ConditionBit : std::size_t {
        kFeatureAllowed = 0,
        kServiceEnabled = 1,
        kServersUsable = 2,
        kSenderConfigured = 3,
        kProfilesFound = 4,
        kStarted = 5  // Kept: no operation clears it, so the event ring stays empty.
    };

    OrvCallHome(dsClient& store, orvClient& responses);
    ~OrvCallHome();

    // The configuration monitor has spoken: the queue may open.
    void monitorReady();
    // Starts a configuration read cycle, or counts the request when one is running.
    void readConfig();
    void readSwitchOperState();
    // Starts both worker threads; -1 when either could not be started.
    int startThreads();

    // The daemon stops: no further mail is started.
    void stopSending() { client_.stopSending(); }
    // A mail is under way.
    bool sending() { return client_.sending(); }
    // The daemon stops: what waits for the next tick is matched and queued now. Only the queue outlives the process.
    void keepIncomingMesgs();

    // Answers of the attribute store, routed by request id. -1 when an answer was not usable.
    int processConfigBulk(const DsBulkReply& reply);
    int processConfig(const DsAttrReply& reply);
    int processDsStatus(const DsStatusReply& reply);
    // A bulk answer came that nobody can decode.
    void bulkReplyLost();

    // A part of the configuration has been read or has failed; the last one ends the read cycle. Throws
    // std::out_of_range for a part that there is not.
    void configComplete(unsigned bit) override;

    // Events of the switch. Empty data counts as none at all.
    int takeLogEvent(std::span<const std::uint8_t> data);
    int setSwitchState(const std::string& state);
    int setSwitchHostname(std::span<const std::uint8_t> text);
    int setSwitchAddr(std::span<const std::uint8_t> data);
    int queuePowerUpMesg();

    // A management request. 0, or -1 when it was refused without an answer.
    int processOrvMsg(const Hsb_Message& message);
    // The request's name in traces; null for a code that is no request.
    static const char* requestName(std::uint16_t code);

    void oneSecondTick();
    void probe();

    // Puts the events of the ring back through the intake.
    void processIncomingLogEventQ();

private:
    struct Request;  // a row of the management request table
    static const Request kRequests[];
    static const Request* findRequest(std::uint16_t code);

    // Read cycle.
    void validateCallHomeSetup();
    void readFeatureFlag();
    void readServicesComponent();
    void readNumOfProfiles();
    int processFeatureFlag(const DsAttrReply& reply);
    int processServicesComponent(const DsAttrReply& reply);
    int processSwitchOperState(const DsAttrReply& reply);
    int processNumOfProfiles(const DsAttrReply& reply);
    void takeCondition(ConditionBit bit, const std::string& value);
    int processProfileBulk(const DsBulkReply& reply);
    int completeProfileConfig(std::int32_t status);
    int makeNewProfiles();
    int readCurrentProfile();
    void keepProfiles();
    void forgetNewProfiles();
    void endWithoutProfiles();
    void activateNewProfiles();
    OrvCHProfile* currentProfile() const;

    // Messages.
    // Null, after the memory alarms, when there is no memory.
    static std::unique_ptr<OrvCHMesg> newEventMesg();
    int takeRecord(const Sw_Log_Type& record);
    int submit(std::unique_ptr<OrvCHMesg> mesg, int built);
    int processIncomingMesgQ();
    bool processTestMesg(std::unique_ptr<OrvCHMesg> mesg);
    bool refuseTest(const std::string& profile);
    void matchAndQueue(std::unique_ptr<OrvCHMesg> mesg);
    int queueMesg(std::unique_ptr<OrvCHMesg> mesg);
    void clearIncomingMesgQ();

    // Capture results and identity.
    OrvCHProfile* profileByName(const std::string& name) override;
    int enqueue(std::unique_ptr<OrvCHMesg> mesg) override;
    void identityAddressRead(const std::string& address) override;
    void identityWwnRead(const std::string& wwn) override;

    // Management requests, in code order.
    void processOrvCHProfileChangeMsg(std::uint32_t handle, std::span<const std::uint8_t> payload);
    void processOrvCHTestProfileCmdMsg(std::uint32_t handle, std::span<const std::uint8_t> payload);
    void processOrvCHClearQueueCmdMsg(std::uint32_t handle, std::span<const std::uint8_t> payload);
    void processOrvCHProfileProcessedInfoMsg(std::uint32_t handle, std::span<const std::uint8_t> payload);
    void processOrvCHChangeoverCmdMsg(std::uint32_t handle, std::span<const std::uint8_t> payload);
    void processOrvCHMesgQInfoMsg(std::uint32_t handle, std::span<const std::uint8_t> payload);
    void probeProfiles();

    dsClient& store_;
    orvClient& responses_;

    // The queue first: it makes the directories that the capture sequence is kept in.
    OrvCHMesgQ queue_;
    OrvCHMesgCommon identity_;
    OrvCHClient client_;
    OrvCHCapture capture_;

    std::vector<std::unique_ptr<OrvCHProfile>> newProfiles_;  // being read
    std::vector<std::unique_ptr<OrvCHProfile>> profiles_;     // used for matching
    std::size_t currentProfile_ = 0;                          // index into newProfiles_
    std::optional<OrvProfileReader> profileReader_;           // of the current one
    OrvEventRing eventRing_;
    std::deque<std::unique_ptr<OrvCHMesg>> incomingMesgQ_;
    bool ReadyForMessage_ = false;
    std::string SwitchOperState_;
    std::int32_t NumOfProfiles_ = 0;
    std::bitset<6> Condition_{63};
    std::bitset<6> Config_;
    std::int32_t ConfigRequestsPending_ = 0;
};
