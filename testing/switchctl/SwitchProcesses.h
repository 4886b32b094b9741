// Test support: switchd, the daemon and switchctl as processes on a bus of the test's own, below a root of its own.
#pragma once

#include "testing/platform/Child.h"
#include "testing/platform/PrivateBus.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>

// The programs that the build has made.
namespace Program {
extern const char* const SWITCHD;
extern const char* const SWITCHCTL;
extern const char* const DAEMON;
}  // namespace Program

struct ProcessOutcome {
    int status;
    std::string output;  // stdout and stderr
};

class SwitchProcesses : public testing::Test {
public:
    SwitchProcesses();
    // When all processes have ended: what the daemon has logged, as switchd keeps it, has to be in its catalogue.
    ~SwitchProcesses() override;

protected:
    const std::string& directory() const { return bus_.directory(); }
    std::string state() const { return directory() + "/state"; }
    std::string root() const { return directory() + "/root"; }
    // On a slow machine anything may last a second: what is printed is to be the same there.
    Environment environment() const {
        return {{"HSB_BUS", bus_.address()}, {"HSB_ROOT", root()}, {"SWITCHCTL_QUIET", "1"}};
    }

    std::unique_ptr<Child> start(const std::string& program, const Words& arguments,
                                 const std::function<void()>& preparation = nullptr) const;
    ProcessOutcome run(const std::string& program, const Words& arguments,
                       const std::function<void()>& preparation = nullptr) const;
    ProcessOutcome switchctl(const Words& arguments) const;
    // switchctl that succeeds; what it prints.
    std::string done(const Words& arguments) const;
    // switchd that answers.
    std::unique_ptr<Child> startSwitchd(const std::function<void()>& preparation = nullptr) const;
    // CallHome with one profile, Operators, and a mail server at which nobody listens; the daemon has read it.
    void configureWithDeadServer() const;
    // The daemon, started.
    std::unique_ptr<Child> startDaemon() const;

    PrivateBus bus_;
};
