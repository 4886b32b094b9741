// The process's connection to the event log. Main thread only.
#pragma once

class Log_Event {
public:
    static Log_Event* instance_m;  // Null until somebody creates it; owned by the process, never destroyed.

    void open();
    void close();
    bool isOpen() const { return open_; }

private:
    bool open_ = false;
};
