// Starts threads.
#pragma once

namespace Mt {

class Threadable;

class Threader {
public:
    // Runs thread.run() on a new thread. 0, or an error number. The thread object must live until run() returns.
    [[nodiscard]] static int launch(Threadable& thread);
};

}  // namespace Mt
