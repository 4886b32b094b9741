#include "testing/FailingCalls.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

namespace {

int indexOf(const std::string& name) {
    for (std::size_t i = 0; i < CallFaults::table().size(); ++i) {
        if (CallFaults::table()[i].name == name) {
            return static_cast<int>(i);
        }
    }
    throw std::invalid_argument("no such call: " + name);
}

}  // namespace

CallPlan::CallPlan(const std::string& call, std::string part) : part_(std::move(part)) {
    faults_.call = call.empty() ? CallFaults::kAny : indexOf(call);
    faults_.part = part_.c_str();
    faults_.nth = UINT_MAX;
    faults_.watched = true;
    CallFaults::use(&faults_);
}

CallPlan::~CallPlan() {
    CallFaults::use(nullptr);
}

FailingCall::FailingCall(const std::string& call, std::string part, int error, unsigned spared, unsigned count)
    : CallPlan(call, std::move(part)) {
    faults_.error = error;
    faults_.burst = count;
    faults_.nth = spared + 1;
}

FailingNth::FailingNth(unsigned nth, std::string part, int error) : CallPlan({}, std::move(part)) {
    faults_.error = error;
    faults_.nth = nth;
}

OnCall::OnCall(const std::string& call, std::string part, CallFaults::Step step, bool onEveryThread)
    : CallPlan(call, std::move(part)), step_(std::move(step)) {
    faults_.step = &step_;
    faults_.onEveryThread = onEveryThread;
    faults_.burst = UINT_MAX;
    faults_.nth = 1;
}

StepBeforeCall::StepBeforeCall(const std::string& call, std::string part, std::function<void()> step)
    : CallPlan(call, std::move(part)), step_([step = std::move(step)](const CallFaults::Made&) { return step(), 0; }) {
    faults_.step = &step_;
    faults_.nth = 1;
}

bool killedAt(unsigned nth, std::string part, const std::function<void()>& step) {
    const pid_t child = ::fork();
    if (child == 0) {
        const FailingNth kill(nth, std::move(part), CallFaults::kKill);
        step();
        ::_exit(0);
    }
    int ended = 0;
    EXPECT_EQ(::waitpid(child, &ended, 0), child);
    EXPECT_TRUE(WIFSIGNALED(ended) ? WTERMSIG(ended) == SIGKILL : ended == 0) << ended;
    return WIFSIGNALED(ended);
}

CountedAllocations::CountedAllocations(MemoryFaults::Kind kinds) {
    faults_.kinds = kinds;
    faults_.onEveryThread = false;
    faults_.watched = true;
    MemoryFaults::use(&faults_);
}

FailingAllocation::FailingAllocation(std::size_t least, std::size_t most) {
    faults_.burst = UINT_MAX;
    faults_.least = least;
    faults_.most = most;
    faults_.first = 1;
}

FailingMemory::FailingMemory(MemoryFaults::Kind kinds, unsigned spared, unsigned count) : CountedAllocations(kinds) {
    faults_.burst = count;
    faults_.first = spared + 1;
}
