// A standby: the receiver of the file synchronisation with the loop that the daemon does not have, and one way to
// confine it.
//
// The receiver does whatever its peer says, so three things are settled before it hears anybody: it sees one directory
// and nothing else (confineTo), listens on one address only, and takes one peer (SyncStandby, sync_party).
#pragma once

#include "sync/OrvSyncSec.h"

#include <cstdint>
#include <string>
#include <thread>

// From here on this process sees the directory as its root and nothing outside it, links and ".." included. Without
// the right to do so it takes a user namespace of its own, for which it must have one thread only. Other rights of the
// process stay as they are: root's are for the caller to give up. 0, or -1 with errno.
[[nodiscard]] int confineTo(const std::string& directory);

// Takes one peer and repeats its records until it closes or is lost. How many were answered, or -1 without a peer.
int serveSyncSession(OrvSyncSec& receiver);
// The same for a peer who is to be the only one: nobody else is heard from then on.
int serveOnlySyncSession(OrvSyncSec& receiver);

// A standby on a thread of its own, not confined, for tests that need one end of the protocol only. Listens on
// 127.0.0.1 at a port of its own and serves that many peers, one after the other, then listens no more.
class SyncStandby {
public:
    explicit SyncStandby(int sessions = 1);
    // Waits for the peers that are still to come, who are told to go at once.
    ~SyncStandby();
    SyncStandby(const SyncStandby&) = delete;
    SyncStandby& operator=(const SyncStandby&) = delete;

    OrvSyncSettings settings() const;
    // Waits until the last peer has closed. The records answered in all.
    int records();

private:
    void serve();

    OrvSyncSec receiver_;
    std::uint16_t port_ = 0;
    const int sessions_;
    int records_ = 0;  // after the thread has ended
    std::thread thread_;
};
