// The operator's door into the switch: hands the requests of OperatorWire.h to the room that each is for, and answers
// itself what concerns components, management and faults.
//
// Main thread only. Nothing waits in here: an answer that must come late is remembered with its caller, and forgotten
// when the caller leaves.
#pragma once

#include "switchd/services/OperatorAnswers.h"
#include "switchd/services/OperatorAttributes.h"
#include "switchd/services/OperatorEvents.h"
#include "switchd/services/OperatorLog.h"
#include "switchd/services/OperatorWire.h"
#include "switchd/services/Service.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

class AttributeStore;
class Components;
class EventLog;
class EventLogStore;
class Faults;
class Hsb_Message;
class ManagementService;
class SwitchEvents;

// What the operator's door opens; all of it outlives the service.
struct OperatorParts {
    AttributeStore& attributes;
    EventLogStore& logStore;
    EventLog& log;
    SwitchEvents& events;
    Components& components;
    ManagementService& management;
    Faults& faults;
};

class OperatorService final : public Service {
public:
    OperatorService(Transport& transport, const OperatorParts& parts);

    void receive(Hsb_Message& message) override;
    void peerLeft(const Hsb_Address& process) override;

private:
    using Caller = OperatorCaller;
    struct Wait {
        Caller caller;
        WaitRequest request;
    };
    struct Probe {
        std::optional<Caller> caller;  // none: gone, but the component's reply is still to come
        Hsb_Address component;
    };
    struct Route {
        std::uint16_t code;
        void (*handle)(OperatorService&, const Caller&, WireSpan);
    };
    static const Route ROUTES[];

    // Reads the request and hands it to a room, or to a part of the service itself.
    template <auto ROOM, auto HANDLE>
    static void to(OperatorService& service, const Caller& caller, WireSpan body);
    template <auto HANDLE>
    static void here(OperatorService& service, const Caller& caller, WireSpan body);

    void done(const Caller& caller, WireSpan body = {}) const { answers_.done(caller, body); }
    void refuse(const Caller& caller, OperatorStatus status, const std::string& reason) const {
        answers_.refuse(caller, status, reason);
    }
    // Forgets streams and late answers of the callers that match; returns how many there were.
    std::size_t forget(const OperatorCallers& matches);

    void stop(const Caller& caller, const OneTag& request);
    void listComponents(const Caller& caller, const NoBody& request);
    void wait(const Caller& caller, const WaitRequest& request);
    bool isReached(const WaitRequest& request) const;
    void answerWaits();
    // The component's address; nothing, with the caller refused, when it is not there.
    std::optional<Hsb_Address> find(const Caller& caller, const std::string& component);

    void manage(const Caller& caller, const ManagementCall& request);
    void managed(std::uint32_t handle, const Hsb_Message* response);
    void watchResults(const Caller& caller, const NoBody& request);
    void tellWatchers(const TestResults::Result& result);
    void probe(const Caller& caller, const ProbeRequest& request);
    void probed(const Hsb_Address& component);
    void sendMessage(const Caller& caller, const RawMessage& request);

    static void addFault(OperatorService& service, const Caller& caller, WireSpan body);
    void removeFault(const Caller& caller, const OneTag& request);
    void clearFaults(const Caller& caller, const NoBody& request);
    void listFaults(const Caller& caller, const NoBody& request);
    void releaseHeld(const Caller& caller, const NoBody& request);

    OperatorParts parts_;
    OperatorAnswers answers_;
    OperatorAttributes attributes_;
    OperatorEvents events_;
    OperatorLog log_;
    std::vector<Wait> waits_;
    std::vector<Caller> watchers_;
    std::map<std::uint32_t, Caller> calls_;  // by the management request's handle
    std::deque<Probe> probes_;               // in the order sent: replies carry nothing to tell them apart by
};
