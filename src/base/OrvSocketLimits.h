// How long a socket's steps may take. Any thread.
#pragma once

#include <chrono>

// Bounds every single send, or receive, from now on: SO_SNDTIMEO or SO_RCVTIMEO. A socket that cannot be bounded is
// broken: using it will tell.
void orvBoundSocket(int socket, int option, std::chrono::milliseconds limit);
// Waits until a connect that is in progress is over, well or badly. 0, or -1 with errno: ETIMEDOUT when the limit has
// passed. Signals do not end it.
[[nodiscard]] int orvAwaitConnection(int socket, std::chrono::milliseconds limit);
