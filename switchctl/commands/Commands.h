// The groups of commands, each in a file of its own.
#pragma once

class CommandTree;

// All of them.
void addCommands(CommandTree& tree);

void addSwitchCommands(CommandTree& tree);
void addDoctorCommand(CommandTree& tree);
void addAttributeCommands(CommandTree& tree);
void addEventCommands(CommandTree& tree);
void addCallhomeCommands(CommandTree& tree);
void addPreviewCommands(CommandTree& tree);
void addRehearseCommand(CommandTree& tree);
void addMetricsCommand(CommandTree& tree);
void addQueueCommands(CommandTree& tree);
void addExplainCommand(CommandTree& tree);
void addTimelineCommand(CommandTree& tree);
void addLedgerCommand(CommandTree& tree);
void addProfileCommands(CommandTree& tree);
void addLogCommands(CommandTree& tree);
void addServeCommand(CommandTree& tree);
void addFaultCommands(CommandTree& tree);
