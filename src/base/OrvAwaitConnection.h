// Waits for a connect that is in progress.
#pragma once

#include <chrono>

// Until it is over, well or badly. 0, or -1 with errno: ETIMEDOUT when the limit has passed. Signals do not end it.
// Any thread.
[[nodiscard]] int orvAwaitConnection(int socket, std::chrono::milliseconds limit);
