// The daemon's one component on the bus: joins it, looks up who it works with, routes every message, and ticks.
//
// One object per process, made by main and never deleted there. Main thread only.
#pragma once

#include "Cns.h"
#include "DSCallbacks.h"
#include "Hsb_Address.h"
#include "Hsb_Component.h"
#include "Hsb_Slot.h"
#include "app/OrvStoreAnswers.h"
#include "app/OrvSubscriptions.h"
#include "app/OrvSwitchEvents.h"
#include "callhome/OrvCallHome.h"
#include "cmon_client.h"
#include "dbg/OrvTimer.h"
#include "dsClient.h"
#include "orvClient.h"

#include <cstdint>
#include <memory>
#include <string>

class Hsb_Message;

class OrvApp final : public Hsb_Component, public DSCallbacks {
public:
    // Builds the parts and inserts itself into the bus. Ends the process with status 1 when the bus refuses it or
    // the monitor's client cannot be allocated; throws what its parts throw.
    explicit OrvApp(const OrvSMTPDialogue& dialogue = orvRequiredDialogue());
    ~OrvApp() override;
    OrvApp(const OrvApp&) = delete;
    OrvApp& operator=(const OrvApp&) = delete;

    int component_name(char* buffer, int length) override;
    int checkpoint_size() override { return 0; }
    int handle_message(Hsb_Message* message) override;
    int bus_frees_messages() override { return 1; }
    int inserted() override;
    void DSApiReady() override;

    // All three requests of the start have been made (not: answered).
    bool requiredAddressesInitialized() const { return readyBits_ == kAllReady; }
    // Hook for starting the standby file synchronisation, which is not started from here: -1.
    int tryStartFileSync();

    // (Re)arms the one-second timer.
    void startTick();

    // The daemon stops: serves on until the mail that is under way has come to its end and left the queue, for a few
    // seconds at most, and starts no other; then queues what still waits to be. Returns at once when no mail is under
    // way.
    void finishMail();

    OrvCallHome& callHome() { return callHome_; }
    OrvSubscriptions& subscriptions() { return subscriptions_; }

private:
    // Bits of readyBits_.
    static constexpr std::uint8_t kEnsLookupSent = 1;
    static constexpr std::uint8_t kSmLookupSent = 2;
    static constexpr std::uint8_t kDsReady = 4;
    static constexpr std::uint8_t kAllReady = 7;
    static constexpr std::uint32_t kNoTag = 0xFFFFFFFFu;

    // The one-second timer's action.
    class Tick final : public OrvTimer {
    public:
        explicit Tick(OrvApp& app) : app_(app) {}

    private:
        void action() override { app_.callHome_.oneSecondTick(); }
        OrvApp& app_;
    };

    void createMonitorClient();
    void awaitEndOfMail();
    void tellReadyForConf();
    void takeEnsServer(const Hsb_Address& address);
    void takeManagement(const Hsb_Address& address);

    struct Route;  // a row of the table of messages
    static const Route kRoutes[];
    int route(Hsb_Message& message);
    int processLookupResponse(const Hsb_Message& message);
    int processEventMsg(const Hsb_Message& message);
    int processEventServerReady(const Hsb_Message& message);
    int processDsMsg(const Hsb_Message& message);
    int readConfiguration(const Hsb_Message& message);
    int startThreads(const Hsb_Message& message);
    int processProbeMsg(const Hsb_Message& message);
    int processOrvMsg(const Hsb_Message& message);
    int ignore(const Hsb_Message& message);
    int refuseEnsCode(const Hsb_Message& message);
    int refuseCmonCode(const Hsb_Message& message);

    // First of all: entries that the other members write name this component, to its very end and no longer.
    class Named {
    public:
        explicit Named(OrvApp* app);
        ~Named();
        Named(const Named&) = delete;
        Named& operator=(const Named&) = delete;
    };
    Named named_{this};
    dsClient ds_;
    orvClient responses_;
    std::unique_ptr<cmon_client> cmon_;
    OrvCallHome callHome_;
    OrvStoreAnswers answers_{ds_, callHome_};
    OrvSwitchEvents events_{callHome_};
    OrvSubscriptions subscriptions_{*this};
    std::string spareName_;
    Hsb_Slot slot_;
    Hsb_Address smAddress_;
    std::uint32_t ensLookupTag_ = kNoTag;
    std::uint32_t smLookupTag_ = kNoTag;
    std::uint8_t readyBits_ = 0;
    std::uint8_t threadsStarted_ = 0;
    std::uint8_t ensReady_ = 0;
    std::uint8_t reserved_ = 0;
    bool readyBeforeMonitor_ = false;  // the store was ready before the monitor's client existed
    Tick tick_;
};
