// The edge of the daemon's code on the main thread: no exception leaves a callback of the loop, or a step that must
// not keep the next one from being done.
//
// A failed allocation raises the memory alarms, anything else is logged and traced; either way the event is
// dropped and the loop goes on. Main thread only.
#pragma once

// Reports the exception being handled; call from a catch block. where names the callback.
void orvReportException(const char* where) noexcept;

// Runs action(); its result, or -1 after an exception.
template <typename Action>
int orvGuarded(const char* where, Action&& action) {
    try {
        return action();
    } catch (...) {
        orvReportException(where);
        return -1;
    }
}

// Runs a step that the caller goes on after, whatever becomes of it.
template <typename Step>
void orvBestEffort(const char* where, Step&& step) {
    static_cast<void>(orvGuarded(where, [&step] {
        step();
        return 0;
    }));
}
