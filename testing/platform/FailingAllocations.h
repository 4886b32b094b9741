// Test support: allocations of this thread fail as a test says. One at a time.
//
// A program that links it gets operator new replaced, and without a sanitizer malloc and its kin too, so that what
// libraries ask for fails as well.
#pragma once

class FailingAllocations {
public:
    // Of the allocations from now on, `count` fail, beginning with number `first` (1: the very next).
    FailingAllocations(int first, int count);
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;

    // Has any failed yet?
    bool struck() const;
};
