// One run of switchctl, from its arguments to its exit status.
#pragma once

#include "switchctl/client/OperatorClient.h"

#include <ostream>
#include <string>
#include <vector>

// Arguments without the program's name. Returns the exit status (Errors.h).
int runSwitchctl(const std::vector<std::string>& arguments, const OperatorClient::Connect& connect, std::ostream& out,
                 std::ostream& err);
