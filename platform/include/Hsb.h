// The process's membership of the switch's message bus. Main thread only.
#pragma once

class Timeval;

class Hsb {
public:
    static Hsb* instance();

    // Joins the bus; the arguments are the platform's. Returns 0 on failure, else a positive value.
    [[nodiscard]] int init(int maxMessages, int flags, int options);
    // Serves the bus, timers and handlers of the main thread until the process is told to end (SIGTERM, SIGINT)
    // or the limit has passed (null: none). Returns 0 on an orderly end, a negative value when serving failed.
    [[nodiscard]] int handle_events(const Timeval* limit);
    // Leaves the bus.
    void shutdown();

private:
    Hsb() = default;
};
