// The options of a log event, for every command that takes one.
#pragma once

#include "switchctl/commands/Command.h"
#include "switchctl/input/EventArguments.h"

void takeLogEvent(Command command, LogEventArguments& arguments);
