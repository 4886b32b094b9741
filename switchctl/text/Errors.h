// How a command fails; each kind has its exit status.
#pragma once

#include "switchd/services/OperatorWire.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

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
    // The daemon's response said so.
    Refused(const std::string& reason, std::uint32_t response) : Refused(reason) { responseStatus = response; }

    OperatorStatus status;
    std::optional<std::uint32_t> responseStatus;
};

// The output does not take what is to be printed; why, as errno has it, 0 for not known.
struct CannotWrite : std::runtime_error {
    explicit CannotWrite(int why)
        : std::runtime_error(why == 0 ? "cannot write" : "cannot write: " + std::generic_category().message(why)) {}
};

// Nobody answered in time.
struct NoAnswer : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Not even switchd: there is no use in asking it anything else.
struct SwitchdSilent : NoAnswer {
    using NoAnswer::NoAnswer;
};

// status has printed what is to be mended: there is nothing to add.
struct NeedsAPerson {};
