// A life that is told to end: a message that is under way then, and whose dialogues end well and in time, is done, and
// no later life mails it.
#pragma once

#include "box/Network.h"
#include "box/Times.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace box {

class OrderlyEnd {
public:
    // The daemon is told to end. Once more changes nothing.
    void told(Time now);
    bool wasTold() const { return told_ != kNever; }
    // A trace as it is written. troubles: replies so far that did not come as they should.
    void traced(std::string_view line, std::uint32_t troubles);
    void clientSteps(ClientStep step, std::string_view what);
    // A server has taken a mail.
    void mailed() { mailed_ = true; }
    // It was the operator's, of this event.
    void mailedTo(std::uint32_t event) { event_ = event; }

    // The life ends: nothing that it has mailed may come again.
    bool leavesNothing(Time now, std::uint32_t troubles) const;
    // The event whose message was under way in the end, or was the last one, once its mail was taken.
    std::optional<std::uint32_t> event() const { return event_; }

private:
    Time told_ = kNever;
    std::optional<std::uint32_t> event_;
    std::uint32_t troubles_ = 0;  // when the last message was taken up
    bool wentWell_ = true;        // what was heard since then
    bool mailed_ = false;         // any mail of it was taken
    bool partly_ = false;         // a message waits of which a mail was taken: it comes again to all
};

}  // namespace box
