// The attributes that the switch's identity is read from, for whoever reads it without a daemon.
#pragma once

#include <string>
#include <vector>

// In the order of the daemon's request.
std::vector<std::string> orvIdentityKeys();
