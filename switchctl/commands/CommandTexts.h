// What the commands are called and do, as constants (command_text::kAttrGet and so on), with a row each in
// CommandEntries.inc.
#pragma once

#include "switchctl/commands/Command.h"

namespace command_text {

#define SECTION(title)
#define COMMAND(name, synopsis, summary, example, object, page) \
    inline constexpr CommandText name = {synopsis, summary, example, object, page};
#include "switchctl/commands/CommandEntries.inc"
#undef COMMAND
#undef SECTION

}  // namespace command_text
