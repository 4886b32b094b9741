// Test support: a switch of which everything that the daemon sends it is written down, in one order.
//
// It answers nothing by itself: tests hand the answers over. Each has a file tree and a trace of its own, and the
// process stands on its bus as long as it lives.
#pragma once

#include "DSCallbacks.h"
#include "Hsb_Component.h"
#include "Hsb_Message.h"
#include "Hsb_Slot.h"
#include "dbg/OrvDbg.h"
#include "dsClient.h"
#include "platform/transport/Transport.h"
#include "testing/TempRoot.h"

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

class RecordingSwitch final : private Transport, private Hsb_Component, private DSCallbacks {
public:
    RecordingSwitch();
    ~RecordingSwitch() override;

    dsClient& store() { return store_; }
    TempRoot& root() { return root_; }

    // What was sent since the last call, a line each:
    //   "log LEVEL ID TEXT", "alarm LEVEL ID TEXT", "bulk ID: KEY KEY ...", "set ID TYPE COUNT KEY=VALUE"
    // Entries of the event log that are not marked as the daemon's own, or that it does not know, say so in front.
    std::vector<std::string> takeSent();
    // Writes each of these lines to stderr too, for what happens in a process that ends.
    void echo() { echoes_ = true; }
    // The DS request with this number from now (1 is the next) cannot be sent.
    void refuseRequest(std::size_t number) { refusedRequest_ = number; }

    // What was traced since the last call on the thread that made this object, "MODULE FUNCTION: TEXT" each. The
    // trace file may have been rotated once meanwhile.
    std::vector<std::string> takeTraces();
    // The same of any trace file.
    static std::vector<std::string> parseTraces(const std::string& content);

private:
    int join() override { return 0; }
    void leave() override {}
    int attach(TransportReceiver& receiver, Hsb_Address& address) override;
    int attachService(TransportReceiver& receiver, const Hsb_Address& address) override;
    void detach(const Hsb_Address& address) override;
    int send(const Hsb_Message& message) override;
    int sendRequest(const std::string& line);
    void note(const std::string& line);

    int component_name(char* buffer, int length) override;
    int handle_message(Hsb_Message* message) override;
    void DSApiReady() override {}

    TempRoot root_;
    std::unique_ptr<OrvDbg> logger_;
    Hsb_Slot slot_;
    dsClient store_;
    std::vector<std::string> sent_;
    bool echoes_ = false;
    std::size_t refusedRequest_ = 0;
    std::size_t tracesTaken_ = 0;  // bytes of the trace file
    ino_t traceInode_ = 0;         // the file they were taken from
};

// The local time zone, as long as it lives.
class LocalZone {
public:
    explicit LocalZone(const char* zone);
    ~LocalZone();
    LocalZone(const LocalZone&) = delete;
    LocalZone& operator=(const LocalZone&) = delete;

private:
    bool wasSet_;
    std::string former_;
};
