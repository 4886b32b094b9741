// What the daemon writes into its main trace while it answers a probe.
#pragma once

#include "switchctl/client/Session.h"
#include "switchctl/traces/DaemonWords.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace ProbeTrace {

// The daemon's trace, on this machine.
std::string mainFile();

// Has the daemon trace its state and gives what it traced. Throws Refused when the trace cannot be read or has no whole
// probe in it, and as OperatorClient::call.
std::string ask(Session& session);

// The first whole probe in a trace: from its entry to the end of its last record. Nothing when there is none.
std::optional<std::string> probeIn(std::string_view text);
// The process that traced it.
long processOf(const std::string& probe);

// The lines of the form "key = value" in the record that begins so, without the blanks around either. A text that has
// lines of its own stands above the numbers: of lines with the same key the last counts.
std::map<std::string, std::string> valuesIn(std::string_view probe, const TraceWords& title);

}  // namespace ProbeTrace
