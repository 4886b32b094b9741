// What the main thread and the send thread both touch, beside the messages between them.
#pragma once

#include "base/OrvMutex.h"
#include "smtp/OrvMailServers.h"

#include <atomic>

struct OrvSendState {
    mutable Mt::Mutex lock;
    // Written by the main thread.
    OrvMailServers servers ORV_GUARDED_BY(lock);
    // Whom the dialogue that runs, or that ran last, is held with. Written by the send thread.
    OrvMailServer current ORV_GUARDED_BY(lock);
    // The last send failed. Written by the main thread.
    std::atomic<bool> retryPending{false};
    // The daemon stops: no further message is begun. Written by the main thread.
    std::atomic<bool> stopping{false};
};
