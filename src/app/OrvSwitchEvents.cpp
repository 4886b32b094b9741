#include "app/OrvSwitchEvents.h"

#include "Ens.h"
#include "MessageCodes.h"
#include "base/OrvText.h"
#include "callhome/OrvCallHome.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"

#include <algorithm>
#include <iterator>
#include <span>

namespace {

constexpr char kTraceModule[] = "OrvApp";

using Data = std::span<const std::uint8_t>;

int takeState(OrvCallHome& callHome, Data data) {
    return data.empty() ? -1 : callHome.setSwitchState(orvTextUpToNul(data));
}

// A category, of which one event counts.
struct Row {
    EventId event;
    const char* function;  // in the trace of the category's other events
    const char* what;
    int (*take)(OrvCallHome& callHome, Data data);
};

constexpr Row kRows[] = {
    {SwitchEvent::INTERFACE_CHANGE, "processCmonEvent", "Cmon event",
     [](OrvCallHome& callHome, Data data) { return callHome.setSwitchAddr(data); }},
    {SwitchEvent::STATE, "processSMEvent", "SM event", takeState},
    {SwitchEvent::HOSTNAME, "processDnsEvent", "DNS event",
     [](OrvCallHome& callHome, Data data) { return callHome.setSwitchHostname(data); }},
};

}  // namespace

int OrvSwitchEvents::process(const Ens_Event& event) {
    // Whatever its number.
    if (event.category() == EventCategory::LOG) {
        return callHome_.takeLogEvent(event.data());
    }
    if (event.category() == EventCategory::IGNORED) {
        return -1;
    }
    const auto* const row =
        std::ranges::find(kRows, event.category(), [](const Row& each) { return each.event.category; });
    if (row == std::end(kRows)) {
        orvLog(orv_log::kUnknownCategory, event.category());
        return -1;
    }
    if (event.number() != row->event.number) {
        orvTrace(kTraceModule, row->function, "Unhandled %s %u\n", row->what, event.number());
        return -1;
    }
    return row->take(callHome_, event.data());
}
