// One road led once with a fault in its step, and what has to be true of it in any case: the daemon lives on, or ends
// and a further life goes on; and it mails again afterwards.
#pragma once

#include "testing/campaign/Campaign.h"
#include "testing/campaign/Roads.h"
#include "testing/campaign/World.h"

#include <functional>
#include <set>
#include <string>

// What a fault may do beside being survived.
struct RoadRules {
    bool mayEnd = true;            // the daemon may end (a kill does not count as that)
    bool mayAbort = false;         // even by an exception that nobody catches
    unsigned excess = 0;           // so many mails may come once more, if the daemon lives on
    unsigned filesLeft = 0;        // so many entries' files may stay where they are
    bool mayLoseSender = false;    // the send thread may end, which it traces; a further life mails
    bool mayBeIncomplete = false;  // what it had accepted, a further life mails
    bool isKill = false;
};

class RoadCase {
public:
    RoadCase(const Road& road, std::set<std::string> forms, const RoadRules& rules)
        : road_(road), forms_(std::move(forms)), rules_(rules) {}

    // Plans the fault on the board before the daemon is born.
    CaseResult run(const std::function<void(Board&)>& plan, const std::function<bool(Board&)>& reached);
    // The road without a fault, a restart at its end: how its mails read. Throws when that does not hold.
    static std::set<std::string> formsOf(const Road& road, const std::function<void(const Board&)>& look);

private:
    LifeOutcome leadTo(World& world, const std::function<void(Board&)>& plan);
    std::string judge(World& world, const LifeOutcome& first);

    const Road& road_;
    const std::set<std::string> forms_;
    const RoadRules rules_;
};
