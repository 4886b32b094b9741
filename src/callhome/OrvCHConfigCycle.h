// The configuration read cycle: every part is asked for at once, reports its own end, and the last one to end
// validates the set-up.
//
// In traces it goes by the controller's name, OrvCallHome. Main thread only.
#pragma once

#include "callhome/OrvCHNewProfiles.h"
#include "callhome/OrvCHSetUp.h"
#include "dsClient.h"

#include <cstdint>
#include <string>

class OrvCHCapture;
class OrvCHClient;
class OrvCHIncoming;
class OrvCHMesgCommon;
class OrvCHMesgQ;

class OrvCHConfigCycle {
public:
    // Those who read parts of the configuration of their own, and who takes what the switch's state becomes.
    struct Parts {
        OrvCHMesgQ& queue;
        OrvCHMesgCommon& identity;
        OrvCHClient& client;
        OrvCHCapture& capture;
        OrvCHIncoming& incoming;
    };

    // All of them must outlive this object, and none is called yet.
    OrvCHConfigCycle(dsClient& store, OrvCHSetUp& setUp, const Parts& parts)
        : store_(store), setUp_(setUp), parts_(parts) {}

    // Starts a read cycle, or counts the request when one is running.
    void readConfig();
    void readSwitchOperState();

    // Answers of the attribute store, routed by request id. -1 when an answer was not usable.
    int processConfigBulk(const DsBulkReply& reply);
    int processConfig(const DsAttrReply& reply);
    int processDsStatus(const DsStatusReply& reply);

    // A part of the configuration has been read or has failed; the last one ends the read cycle. Throws
    // std::out_of_range for a part that there is not.
    void configComplete(unsigned bit);

    std::int32_t numOfProfiles() const { return NumOfProfiles_; }
    std::int32_t requestsPending() const { return ConfigRequestsPending_; }

private:
    void validateCallHomeSetup();
    void readFeatureFlag();
    void readServicesComponent();
    void readNumOfProfiles();
    int processFeatureFlag(const DsAttrReply& reply);
    int processServicesComponent(const DsAttrReply& reply);
    int processSwitchOperState(const DsAttrReply& reply);
    int processNumOfProfiles(const DsAttrReply& reply);
    void takeCondition(OrvCHSetUp::ConditionBit bit, const std::string& value);
    int completeProfileConfig(std::int32_t status);
    int readCurrentProfile();
    void keepProfiles();
    void endWithoutProfiles();
    void activateNewProfiles();

    dsClient& store_;
    OrvCHSetUp& setUp_;
    const Parts parts_;
    OrvCHNewProfiles newProfiles_{store_};
    std::int32_t NumOfProfiles_ = 0;
    std::int32_t ConfigRequestsPending_ = 0;
};
