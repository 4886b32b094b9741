// The status looked at again and again, without a trace in the daemon.
#pragma once

#include "switchctl/status/StatusFacts.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Colour.h"

#include <optional>

// As StatusFacts::gather, without the probe, which would soon fill the daemon's traces; its queue is asked for only
// when the event log has gone on since the look before.
StatusFacts lookAgain(Session& session, const std::optional<StatusFacts>& before);

// What the verdict looks like at a glance.
Colour::Shade shadeOf(const StatusProblems& problems);
