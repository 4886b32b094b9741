#include "switchctl/commands/Commands.h"

namespace {

using AddCommands = void (*)(CommandTree&);

// In the order in which --help lists them.
constexpr AddCommands GROUPS[] = {
    addSwitchCommands,  addAttributeCommands, addEventCommands,   addCallhomeCommands, addQueueCommands,
    addLedgerCommand,   addProfileCommands,   addLogCommands,     addMetricsCommand,   addExplainCommand,
    addTimelineCommand, addPreviewCommands,   addRehearseCommand, addServeCommand,     addFaultCommands,
};

}  // namespace

void addCommands(CommandTree& tree) {
    for (const AddCommands add : GROUPS) {
        add(tree);
    }
}
