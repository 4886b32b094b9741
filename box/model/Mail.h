// The text of a mail. Rules: docs/behaviour.md, "The mail".
#pragma once

#include "box/model/Settings.h"

#include <string>

namespace model {

// As it is sent after DATA, without the end of the data.
std::string mailText(const Message& message, const Envelope& envelope, const Identity& identity,
                     const std::string& switchAddress, const Now& now);

}  // namespace model
