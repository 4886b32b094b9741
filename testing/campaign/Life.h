// One life of the daemon, in a process of its own that may be killed at any moment: the whole daemon on a loopback
// switch, with a clock that goes on as fast as it can.
//
// Lives of one case share a file tree, a mail server and a board. Main thread only.
#pragma once

#include "app/OrvApp.h"
#include "dbg/OrvDbg.h"
#include "testing/LoopbackSwitch.h"
#include "testing/TempRoot.h"
#include "testing/campaign/Board.h"
#include "testing/campaign/QuietTransport.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

// How a life ends that is not killed.
enum LifeEnd {
    kMailedAll = 33,   // everything accepted has been mailed, and nothing is left
    kPaused = 34,      // it was asked for no more
    kDeaf = 35,        // alive, but it does not mail any more
    kLoopEnded = 36,   // the daemon's loop has come to its end
    kNoSwitch = 37,    // the world around it did not come up
    kIncomplete = 38,  // it mails, but not everything that it had accepted
};

class Life {
public:
    struct Settings {
        bool twoRecipients = false;
        bool captures = false;
        unsigned filesAllowed = 100;
    };

    Life(Board& board, TempRoot& root, std::uint16_t mailPort, const Settings& settings);

    // The daemon starts and is configured as far as the switch's answers bring it.
    void start();
    // A log event; it is on its way when this returns, and a second later it has been accepted.
    void publish(unsigned event);
    // The same, and has it accepted: it has to be mailed from now on.
    void accept(unsigned event);
    // A management request; it is on its way when this returns.
    void manage(std::uint16_t code);
    // Ticks until the condition holds, an hour and a half at most; ends this life in this way when it does not.
    void waitFor(const char* what, const std::function<bool()>& condition, LifeEnd otherwise = kIncomplete);
    // Runs the loop, without moving the clock, until the condition holds or the limit of real time has passed.
    void runUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit);
    // The server is open, a further event arrives, and everything accepted so far is mailed: "it mails again".
    void mailAll(unsigned furtherEvent);
    // Ends at once, as a kill would.
    [[noreturn]] void end(LifeEnd how, const std::string& complaint = "");

    bool mailed(unsigned event) const;
    // All accepted events are.
    bool allMailed() const;
    bool queueEmpty() const;
    LoopbackSwitch& sw() { return *switch_; }
    Board& board() { return board_; }
    const TempRoot& root() const { return root_; }

private:
    void configure(std::uint16_t mailPort);
    void configureProfile();
    void useQuietTransport();
    bool mailedTo(unsigned event, unsigned recipient) const;

    Board& board_;
    TempRoot& root_;
    const Settings settings_;
    std::unique_ptr<LoopbackSwitch> switch_;
    QuietTransport transport_;
    std::optional<MemoryFaults::Pause> delivering_;
    std::unique_ptr<OrvDbg> logger_;
    std::unique_ptr<OrvApp> app_;
};
