// Test support: allocations of this thread fail as a test says. One at a time.
//
// A program that links it gets operator new replaced, and without a sanitizer malloc and its kin too, so that what
// libraries ask for fails as well.
#pragma once

class FailingMemory {
public:
    // Of the allocations from now on, `count` fail, beginning with number `first` (1: the very next).
    FailingMemory(int first, int count);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    // Has any failed yet?
    bool struck() const;
};
