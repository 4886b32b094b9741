// The calls of the C library that a box takes the place of, room by room. Each of these does nothing: naming it has
// the linker take the definitions that stand beside it.
#pragma once

namespace box {

void keepCommandCalls();
void keepFileCalls();
void keepNetworkCalls();
void keepProcessCalls();
void keepThreadCalls();
void keepTimeCalls();
void keepUnownedCalls();

inline void keepCalls() {
    keepCommandCalls();
    keepFileCalls();
    keepNetworkCalls();
    keepProcessCalls();
    keepThreadCalls();
    keepTimeCalls();
    keepUnownedCalls();
}

}  // namespace box
