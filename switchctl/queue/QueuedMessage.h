// A message as its file in the queue has it, read by the daemon's own reader.
//
// Nothing that happens to it here reaches the switch: its attachments stay when it goes.
#pragma once

#include "mesg/OrvCHMesg.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

class QueuedMessage {
public:
    // From the bytes of a file.
    static QueuedMessage parse(const std::string& bytes);

    // All of it is there.
    bool whole() const { return whole_; }
    // A start of the daemon makes a message of it. The file of a capture is whole and is none to a start.
    bool restorable() const { return restorable_; }
    // As much of it as could be read.
    const OrvCHMesg& message() const { return *message_; }

    // When it happened, in microseconds since 1970; nothing when its text does not tell.
    std::optional<std::int64_t> happened() const;
    // Repeats that came while it waited, and are not in its count yet.
    std::uint32_t pendingRepeats() const { return pendingRepeats_; }
    // Why it goes as soon as it is closed; 0: it stays.
    std::uint32_t mark() const { return mark_; }

private:
    // Message data of a capture would take its files along.
    struct LeavesFilesAlone {
        void operator()(OrvCHMesg* message) const;
    };
    using Owned = std::unique_ptr<OrvCHMesg, LeavesFilesAlone>;

    static Owned captureFrom(const OrvCHMesg& read, const std::string& bytes);
    void readState(const std::string& bytes);

    Owned message_;
    bool whole_ = false;
    bool restorable_ = false;
    std::uint32_t pendingRepeats_ = 0;
    std::uint32_t mark_ = 0;
};
