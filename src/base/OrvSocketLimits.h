// How long a socket's steps may take. Any thread.
#pragma once

#include <chrono>

// Bounds every single send, or receive, from now on: SO_SNDTIMEO or SO_RCVTIMEO. A socket that cannot be bounded is
// broken: using it will tell.
void orvBoundSocket(int socket, int option, std::chrono::milliseconds limit);
// Waits until a connect that is in progress is over, and takes from the socket what became of it (SO_ERROR). 0 when it
// is connected, or -1 with errno: ETIMEDOUT when the limit has passed. Signals do not end it.
[[nodiscard]] int orvAwaitConnection(int socket, std::chrono::milliseconds limit);
// The same without asking: 0 when the connect is over, well or badly. For a socket that is to try once more, which one
// that was asked for its error is not fit for.
[[nodiscard]] int orvAwaitConnectionEnd(int socket, std::chrono::milliseconds limit);
