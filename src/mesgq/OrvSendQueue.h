// The send queue as its sender sees it. Nothing here throws: what the sender says is done, with or without memory for
// its files. Main thread only.
#pragma once

#include <cstdint>

class OrvCHMesg;

class OrvSendQueue {
public:
    // Entries on the send queue, and those of them that the sender has open.
    virtual std::uint32_t sendCount() const = 0;
    virtual std::uint32_t openCount() const = 0;
    // The next message to mail, now open; null when there is none. It stays the queue's.
    virtual OrvCHMesg* peekOpen() = 0;
    // Gives an open message back unfinished. 0 or -1.
    virtual int peekClose(OrvCHMesg* message) = 0;
    // The same, its marks on flash; it is not opened again for so many seconds, and those behind it go first. 0 or -1.
    virtual int postpone(OrvCHMesg* message, std::uint32_t seconds) = 0;
    // The sender has finished with an open message; result 0 success, 1 failure. 0 or -1. The message may be gone.
    virtual int peekDelete(OrvCHMesg* message, int result) = 0;

protected:
    ~OrvSendQueue() = default;
};
