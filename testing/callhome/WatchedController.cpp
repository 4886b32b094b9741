// The controller, its guarded steps being watched.
#include "dbg/OrvGuard.h"
#include "testing/callhome/WatchedSteps.h"

#include <stdexcept>
#include <utility>

namespace {

const WatchedSteps* active = nullptr;

template <typename Action>
int watchedGuarded(const char* where, Action&& action) {
    return orvGuarded(where, [&] {
        if (active != nullptr && active->step(where)) {
            throw std::runtime_error("fault");
        }
        return action();
    });
}

}  // namespace

WatchedSteps::WatchedSteps(std::function<bool(const std::string&)> eachStep) : step(std::move(eachStep)) {
    active = this;
}

WatchedSteps::~WatchedSteps() {
    active = nullptr;
}

#define orvGuarded watchedGuarded
#include "callhome/OrvCallHome.cpp"
