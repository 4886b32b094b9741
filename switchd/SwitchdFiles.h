// What a switch has on its file system beside the daemons' own files: the command line's support command and the logs.
#pragma once

#include <string>

// Puts under the root a "/ostrel/bin/clish" that leaves a support report where captures look for it, and a few log
// files in "/ostrel/conf". What is there already stays as it is. 0, or -1 and the reason.
[[nodiscard]] int installSwitchFiles(const std::string& root, std::string& reason);
