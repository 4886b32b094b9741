// The operator makes things happen on the switch: what the bus hears of them. Main thread only.
#pragma once

#include "switchd/services/OperatorAnswers.h"

class SwitchEvents;

class OperatorEvents {
public:
    // Both outlive it.
    OperatorEvents(const OperatorAnswers& answers, SwitchEvents& events) : answers_(answers), events_(events) {}

    void log(const OperatorCaller& caller, const LogRecord& request);
    void state(const OperatorCaller& caller, const OneText& request);
    void addresses(const OperatorCaller& caller, const KeyList& request);
    void hostname(const OperatorCaller& caller, const OneText& request);
    void event(const OperatorCaller& caller, const RawEvent& request);

private:
    void finish(const OperatorCaller& caller, int result);

    const OperatorAnswers& answers_;
    SwitchEvents& events_;
};
