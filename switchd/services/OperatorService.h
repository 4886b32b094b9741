// The operator's door into the switch: answers the requests of OperatorWire.h.
//
// Main thread only. Nothing waits in here: an answer that must come late is remembered with its caller, and forgotten
// when the caller leaves.
#pragma once

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
    // No answer holds more than this many log entries, a search more than so many, or (but for a single item) this many
    // bytes of values.
    static constexpr std::size_t PAGE_ENTRIES = 500;
    static constexpr std::size_t SEARCH_ENTRIES = 5000;
    static constexpr std::size_t PAGE_BYTES = std::size_t{1024} * 1024;
    // Of the texts in a series, each of which it has once.
    static constexpr std::size_t SERIES_BYTES = std::size_t{4} * 1024 * 1024;
    // Bytes of values in the answer to GET: what every bus carries, with room to spare.
    static constexpr std::size_t MAX_ANSWER = std::size_t{24} * 1024 * 1024;

    OperatorService(Transport& transport, const OperatorParts& parts);

    void receive(Hsb_Message& message) override;
    void peerLeft(const Hsb_Address& process) override;

private:
    struct Caller {
        Hsb_Address address;
        std::uint16_t code = 0;  // of the request
        std::uint32_t tag = 0;
    };
    struct Wait {
        Caller caller;
        WaitRequest request;
    };
    struct Probe {
        std::optional<Caller> caller;  // none: gone, but the component's reply is still to come
        Hsb_Address component;
    };
    struct NoBody {
        static void fields(auto& /*io*/, auto& /*message*/) {}
    };
    struct Route {
        std::uint16_t code;
        void (OperatorService::*handle)(const Caller&, WireSpan);
    };
    static const Route ROUTES[];

    template <typename Request, void (OperatorService::*HANDLE)(const Caller&, const Request&)>
    void decoded(const Caller& caller, WireSpan body);

    void done(const Caller& caller, WireSpan body = {});
    void refuse(const Caller& caller, OperatorStatus status, const std::string& reason);
    void push(const Caller& caller, std::uint16_t code, WireSpan body);
    // Forgets streams and late answers of the callers that match; returns how many there were.
    std::size_t forget(const std::function<bool(const Caller&)>& matches);

    void get(const Caller& caller, const KeyList& request);
    void list(const Caller& caller, const ListRequest& request);
    void change(const Caller& caller, const ChangeRequest& request);

    void publishLog(const Caller& caller, const LogRecord& request);
    void publishState(const Caller& caller, const OneText& request);
    void publishAddresses(const Caller& caller, const KeyList& request);
    void publishHostname(const Caller& caller, const OneText& request);
    void publishEvent(const Caller& caller, const RawEvent& request);
    void finish(const Caller& caller, int result);

    void readLog(const Caller& caller, const LogRequest& request);
    void searchLog(const Caller& caller, const LogSearch& request);
    void logSeries(const Caller& caller, const SeriesRequest& request);
    void answerLog(const Caller& caller, const LogSelection& selection, std::size_t limit);
    void followLog(const Caller& caller, const LogRequest& request);
    void stop(const Caller& caller, const OneTag& request);
    [[nodiscard]] int readPage(const LogSelection& selection, std::size_t limit, LogPage& page);
    void tellFollowers(const LogEntry& entry);

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

    void addFault(const Caller& caller, WireSpan body);
    void removeFault(const Caller& caller, const OneTag& request);
    void clearFaults(const Caller& caller, const NoBody& request);
    void listFaults(const Caller& caller, const NoBody& request);
    void releaseHeld(const Caller& caller, const NoBody& request);

    OperatorParts parts_;
    std::vector<Wait> waits_;
    std::vector<Caller> followers_;
    std::vector<Caller> watchers_;
    std::map<std::uint32_t, Caller> calls_;  // by the management request's handle
    std::deque<Probe> probes_;               // in the order sent: replies carry nothing to tell them apart by
};
