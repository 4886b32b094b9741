// callhome test: a test message, and what became of it.
#pragma once

#include "switchctl/CommandTree.h"

void addCallhomeTest(CommandTree& tree, const CommandTree::Group& group);
