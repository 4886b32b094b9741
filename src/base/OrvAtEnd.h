// Runs an action at the end of its scope, also when an exception leaves it.
//
// The action must not throw: the scope may be left for want of memory already.
#pragma once

#include <utility>

template <typename Action>
class OrvAtEnd {
public:
    explicit OrvAtEnd(Action action) : action_(std::move(action)) {}
    ~OrvAtEnd() { action_(); }
    OrvAtEnd(const OrvAtEnd&) = delete;
    OrvAtEnd& operator=(const OrvAtEnd&) = delete;

private:
    Action action_;
};
