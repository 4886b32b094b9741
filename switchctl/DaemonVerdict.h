// What is wrong with the daemon itself: how it has started, whether its threads work, what it ran out of.
#pragma once

#include "switchctl/StatusVerdict.h"

#include <optional>
#include <vector>

// What keeps it from sending anything; nothing when it works.
std::optional<StatusProblem> daemonProblem(const StatusFacts& facts);

// What keeps no mail from leaving now, and is worth knowing.
std::vector<StatusProblem> daemonWarnings(const StatusFacts& facts);
