// How a command fails; each kind has its exit status.
#pragma once

#include "switchd/services/OperatorWire.h"

#include <stdexcept>
#include <string>

namespace ExitStatus {
inline constexpr int DONE = 0;
inline constexpr int REFUSED = 1;
inline constexpr int WRONG_USAGE = 2;
inline constexpr int NO_ANSWER = 3;
}  // namespace ExitStatus

// The command line makes no sense: what is wrong, the rule, and how it is done right.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The switch or the daemon did not do it.
struct Refused : std::runtime_error {
    explicit Refused(const std::string& reason, OperatorStatus why = OperatorStatus::FAILED)
        : std::runtime_error(reason), status(why) {}
    OperatorStatus status;
};

// Nobody answered in time.
struct NoAnswer : std::runtime_error {
    using std::runtime_error::runtime_error;
};
