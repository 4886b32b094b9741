// The world of one case: a file tree, a mail server and a board that outlast the lives of the daemon in it, and the
// judgement of what came of them.
//
// Single-threaded, so that each life can be forked from it. Main thread only; one at a time.
#pragma once

#include "testing/TempRoot.h"
#include "testing/campaign/Board.h"
#include "testing/campaign/Life.h"
#include "testing/campaign/MailHost.h"
#include "testing/campaign/Shared.h"

#include <functional>
#include <set>
#include <string>

// How a life came to its end.
struct LifeOutcome {
    enum How { kFinished, kExited, kKilled, kAborted, kBroken, kHung };
    How how = kBroken;
    int code = 0;        // LifeEnd, the exit status or the signal
    std::string errors;  // what it wrote to standard error

    bool mailedAll() const { return how == kFinished && code == kMailedAll; }
    bool deaf() const { return how == kFinished && code == kDeaf; }
    bool incomplete() const { return how == kFinished && code == kIncomplete; }
    bool paused() const { return how == kFinished && code == kPaused; }
    // Over in a way that a supervisor answers with a new start.
    bool ended() const { return how == kExited || how == kKilled || how == kAborted || loopEnded(); }
    bool loopEnded() const { return how == kFinished && code == kLoopEnded; }
    std::string text() const;
};

class World {
public:
    World() : host_(*board_) {}

    Board& board() { return *board_; }
    TempRoot& root() { return root_; }
    const TempRoot& root() const { return root_; }
    const MailHost& host() const { return host_; }

    // One life, from its birth to its end. What the body lets fall is the end of the daemon's loop.
    LifeOutcome live(const Life::Settings& settings, const std::function<void(Life&)>& body);

    // Every accepted event came at least once, and so many mails at most came too often. "" or what is wrong.
    std::string judgeCounts(const Life::Settings& settings, unsigned mostExcess) const;
    // The mails' texts, without what differs from one to the next by right.
    std::set<std::string> forms() const;

    // What the daemon traced last, for who looks closely.
    std::string traces() const;

private:
    TempRoot root_;
    Shared<Board> board_;
    MailHost host_;
};
