// Why the result of a test message is not there yet.
#pragma once

#include "switchctl/client/Session.h"
#include "switchctl/status/StatusFacts.h"

#include <optional>
#include <string>

class TestDelay {
public:
    // How the wait goes on, when there is something to be said about it; "" for nothing new. Asks the switch and the
    // daemon's probe the first time, later only the traces. Throws Refused when the message never leaves by itself.
    std::string look(Session& session, const std::string& profile);
    // The time is over.
    std::string finalWord(Session& session);

private:
    void refresh(Session& session);

    std::optional<StatusFacts> facts_;
    std::string told_;
};
