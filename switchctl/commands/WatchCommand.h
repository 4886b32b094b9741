// The command that stays.
#pragma once

class CommandTree;

void addWatchCommand(CommandTree& tree);
