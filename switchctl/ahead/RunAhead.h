// Has a timetable played by orvAhead, which stands beside this program, or in libexec/orv beside its directory.
#pragma once

#include "ahead/wire/Timetable.h"
#include "switchctl/client/Session.h"

namespace RunAhead {

// With the daemon's environment: zone and all. Throws Refused when it cannot be had, or when the daemon did not live
// to the end of the timetable.
ahead::Outcome play(const ahead::Timetable& table);

// As the switch's are now.
std::vector<Attribute> attributes(Session& session);

}  // namespace RunAhead
