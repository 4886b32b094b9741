// callhome test: a test message for a profile, and what became of it.
#pragma once

#include "switchctl/client/Session.h"

#include <string>

void callhomeTest(Session& session, const std::string& profile);
