#include "box/search/OrderlyEnd.h"

#include <algorithm>
#include <cstring>

namespace box {

namespace {

// How long an end waits for dialogues.
constexpr Time kPatience = 5 * kSecond;

bool says(std::string_view text, std::string_view words) {
    return text.find(words) != std::string_view::npos;
}

}  // namespace

void OrderlyEnd::told(Time now) {
    told_ = std::min(told_, now);
}

void OrderlyEnd::traced(std::string_view line, std::uint32_t troubles) {
    if (!says(line, " OrvCHMesgQ peek")) {
        return;
    }
    if (says(line, "opened in the send queue")) {
        event_.reset();
        troubles_ = troubles;
        wentWell_ = true;
        mailed_ = false;
    } else if (says(line, "has not completed processing")) {
        partly_ = partly_ || mailed_;
        event_.reset();
    }
}

void OrderlyEnd::clientSteps(ClientStep step, std::string_view what) {
    // A reply that was expected and is no refusal.
    const auto isGood = [](std::string_view reply) { return reply.starts_with('2') || reply.starts_with('3'); };
    if (step == ClientStep::kHears) {
        wentWell_ = wentWell_ && isGood(what);
    } else if (step == ClientStep::kLoses) {
        wentWell_ = wentWell_ && what == std::strerror(0);
    }
}

bool OrderlyEnd::leavesNothing(Time now, std::uint32_t troubles) const {
    const bool inTime = told_ != kNever && now < later(told_, kPatience);
    return inTime && wentWell_ && !partly_ && troubles == troubles_;
}

}  // namespace box
