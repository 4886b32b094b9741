// Where the switch's file tree stands on this machine: empty on a switch, a directory without trailing slash on
// a host. Any thread; constant once the process has started its threads.
#pragma once

#include <string>

const std::string& host_root();
