// Test support: file calls of this thread that fail, or in whose place the process ends.
//
// The program is linked with --wrap for each of the calls in CaptureFaults.cpp. Looking at paths, they are counted as
// the daemon makes them: opening is one call, however it is done. One fault at a time.
#pragma once

namespace faults {

// The nth file call from now on, 1 being the first, fails with the error; close() closes all the same.
class FailNthFileCall {
public:
    FailNthFileCall(unsigned nth, int error);
    ~FailNthFileCall();
    FailNthFileCall(const FailNthFileCall&) = delete;
    FailNthFileCall& operator=(const FailNthFileCall&) = delete;

    static bool happened();
};

// The process ends, with kKilled, in the place of its nth file call from now on.
inline constexpr int kKilled = 42;
void killAtNthFileCall(unsigned nth);

}  // namespace faults
