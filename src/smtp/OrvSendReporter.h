// Whom a dialogue tells what the operator must see, and what it needs to know of the sends before it.
#pragma once

#include "dbg/OrvEventLog.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <type_traits>

// As much of a text as an entry of the event log takes.
using OrvEntryText = std::array<char, 512>;

class OrvSendReporter {
public:
    // So many more entries can be logged without memory. Throws std::bad_alloc.
    virtual void makeRoomForEntries(std::size_t count) = 0;
    // An entry for the event log; the text is copied. Without room made for it, and without memory, the thread ends.
    virtual void logSend(const OrvLogKind& entry, const char* text) = 0;
    // The same, filling the text in without asking for memory.
    template <typename... Arguments>
    void report(const OrvLogEntry<Arguments...>& entry, std::type_identity_t<Arguments>... arguments) {
        OrvEntryText text;
        orvFillEntry(text, entry, arguments...);
        logSend(entry, text.data());
    }
    // The send before this one failed.
    virtual bool isRetryPending() const = 0;
    // Set once the daemon ends: what has been sent has to be told soon.
    virtual const std::atomic<bool>& stopping() const = 0;

protected:
    ~OrvSendReporter() = default;
};
