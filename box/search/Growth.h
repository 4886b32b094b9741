// What does not grow while a daemon runs: descriptors, files, and its objects in memory.
#pragma once

#include <string>

namespace box {

class Growth {
public:
    // What is too much; "" when nothing is.
    static std::string ofDescriptors(unsigned open);
    static std::string ofFiles(unsigned there);
    // Whenever nothing waits and nothing is parked; the first of these moments of a life say how much there may be.
    std::string ofObjectsAtRest(long objects);

private:
    long most_ = 0;  // at one of the first rests
    unsigned rests_ = 0;
};

}  // namespace box
