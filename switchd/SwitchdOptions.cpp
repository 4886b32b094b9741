#include "switchd/SwitchdOptions.h"

#include "host_help.h"

namespace {

constexpr const char* STATE = "--state";
const std::string STATE_WITH_VALUE = "--state=";

}  // namespace

const char* const SwitchdOptions::HELP =
    "Usage: switchd --state DIR\n"
    "The switch around the daemon: names, events, attributes, configuration monitor, management, event log.\n"
    "\n"
    "  --state DIR    where attributes and event log are kept; created, with the factory's attributes, when missing\n"
    "  --help         this text\n"
    "  --version      which version this is\n"
    "\n" HSB_ENVIRONMENT_HELP
    "  HSB_TIME_SCALE how many times as fast the switch's timers run (default: 1)\n"
    "\n"
    "Ends with status 0 on SIGTERM and SIGINT. Example: switchd --state /var/lib/switchd\n";

int SwitchdOptions::parse(const std::vector<std::string>& arguments, SwitchdOptions& options, std::string& problem) {
    SwitchdOptions parsed;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        if (argument == "--help" || argument == "-h") {
            parsed.help = true;
        } else if (argument == "--version") {
            parsed.version = true;
        } else if (argument == STATE && index + 1 < arguments.size()) {
            parsed.state = arguments[++index];
        } else if (argument.starts_with(STATE_WITH_VALUE)) {
            parsed.state = argument.substr(STATE_WITH_VALUE.size());
        } else {
            problem = argument == STATE ? "--state needs a directory" : "unknown argument \"" + argument + "\"";
            return -1;
        }
    }
    if (!parsed.help && !parsed.version && parsed.state.empty()) {
        problem = "--state DIR is required";
        return -1;
    }
    options = parsed;
    return 0;
}
