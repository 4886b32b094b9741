// A whole switch in one test program: the services that switchd runs, on a store in memory and a loopback bus, with a
// clock that stands still until the test moves it.
//
// While it lives, this process's bus, event log, timers, calendar and host root belong to it; when it dies everything
// is as before, so that the next test can have a switch of its own. Time starts at 2023-11-14 22:13:20.123456 UTC, the
// store with the factory's attributes. Main thread only; one at a time.
#pragma once

#include "Hsb_Message.h"
#include "Log_Event.h"
#include "Sw_Log_Type.h"
#include "platform/posix/Clock.h"
#include "platform/transport/loopback/LoopbackBus.h"
#include "platform/transport/loopback/LoopbackTransport.h"
#include "switchd/services/SwitchServices.h"
#include "switchd/store/MemoryStore.h"
#include "testing/TempRoot.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One line of the event log, as tests compare them.
struct LogLine {
    int level = 0;
    std::uint32_t id = 0;
    std::string text;

    friend bool operator==(const LogLine&, const LogLine&) = default;
    friend std::ostream& operator<<(std::ostream& out, const LogLine& line);
};

// A management response or result that a component sent.
struct ManagementReply {
    std::uint16_t code = 0;
    std::vector<std::uint8_t> payload;

    friend bool operator==(const ManagementReply&, const ManagementReply&) = default;
};

class LoopbackSwitch {
public:
    static constexpr std::int64_t START_SECONDS = 1700000000;
    static constexpr std::int32_t START_MICROSECONDS = 123456;

    // With a file tree of its own, or with one that outlives it (for tests that start a daemon again).
    LoopbackSwitch() : LoopbackSwitch(nullptr) {}
    explicit LoopbackSwitch(TempRoot& root) : LoopbackSwitch(&root) {}
    ~LoopbackSwitch();
    LoopbackSwitch(const LoopbackSwitch&) = delete;
    LoopbackSwitch& operator=(const LoopbackSwitch&) = delete;

    // --- Attributes ---
    // Throws when the store does not take it.
    void set(const std::string& key, const std::string& value);
    void unset(const std::string& key);
    // Nothing when there is none.
    std::optional<std::string> attribute(std::string_view key);

    // --- Events; each is delivered before it returns ---
    void publishLog(int kind, std::uint32_t number, const std::string& text, std::uint32_t flags = 0);
    // The record as it stands; a time of 0 becomes the present.
    void publishLog(const Sw_Log_Type& record);
    void publishState(const std::string& text);
    void publishAddresses(const std::vector<std::string>& addresses);
    void publishHostname(const std::string& name);
    void publishEvent(std::uint32_t category, std::uint32_t number, const std::vector<std::uint8_t>& data);

    // --- The event log, from the beginning or from the last forgetEventLog() on ---
    std::vector<LogEntry> logEntries();
    std::vector<LogLine> eventLog();
    // The texts of one level.
    std::vector<std::string> eventTexts(int level);
    void forgetEventLog();

    // --- Messages to a component that has registered; delivered before it returns. Throws when it has not. ---
    void send(std::uint16_t format, std::uint16_t code, std::vector<std::uint8_t> payload = {},
              const std::string& component = "OrvApp");
    // A management request; the first word of its payload becomes the handle that is returned.
    std::uint32_t manage(std::uint16_t code, std::vector<std::uint8_t> payload,
                         const std::string& component = "OrvApp");
    // The requests that have nothing but a handle.
    std::uint32_t manage(std::uint16_t code) { return manage(code, std::vector<std::uint8_t>(8)); }
    std::uint32_t testProfile(const std::string& name);
    // What came back, in order; taking empties it.
    const std::vector<ManagementReply>& managementReplies() const { return replies_; }
    std::vector<ManagementReply> takeManagementReplies();

    // --- Misbehaviour: rules of the services, or faults of the bus itself ---
    Faults& faults() { return services_.faults(); }
    LoopbackBus& bus() { return bus_; }

    // --- Time ---
    ManualClock& clock() { return clock_; }
    // Runs the loop until nothing happens any more while the clock stands still. Throws when that never comes.
    void pump();
    // Lets seconds pass, one by one.
    void tick(unsigned seconds = 1);
    // Runs the loop, without moving the clock, until the condition holds: for what other threads do. False when it
    // did not hold within the limit of real time.
    [[nodiscard]] bool runUntil(const std::function<bool()>& condition,
                                std::chrono::milliseconds limit = std::chrono::seconds(20));

    // --- The process under test leaves the bus (its components are told nothing), and comes back ---
    void leaveBus();
    void joinBus();

    TempRoot& root() { return *root_; }
    // The lines of a thread's trace log.
    std::vector<std::string> trace(const std::string& logger) const { return root_->trace(logger); }
    MemoryStore& store() { return store_; }
    SwitchServices& services() { return services_; }
    Components& components() { return services_.components(); }
    // The switch's own side of the bus, for parties of a test's own.
    Transport& switchSide() { return switchSide_; }

private:
    explicit LoopbackSwitch(TempRoot* root);

    Hsb_Address addressOf(const std::string& component);

    std::unique_ptr<TempRoot> ownRoot_;
    TempRoot* root_;
    ManualClock clock_{START_SECONDS, START_MICROSECONDS};
    MemoryStore store_;
    LoopbackBus bus_;
    LoopbackTransport switchSide_{bus_};
    LoopbackTransport processSide_{bus_};
    SwitchServices services_{switchSide_, store_, store_};
    Log_Event logConnection_;
    Log_Event* formerLogConnection_;
    std::vector<ManagementReply> replies_;
    std::uint64_t forgotten_ = 0;  // the last log entry that eventLog() passes over
};
