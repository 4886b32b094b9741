#include "switchd/services/OperatorEvents.h"

#include "switchd/services/SwitchEvents.h"

void OperatorEvents::log(const OperatorCaller& caller, const LogRecord& request) {
    finish(caller, events_.logRecord(request.record, request.timed));
}

void OperatorEvents::state(const OperatorCaller& caller, const OneText& request) {
    finish(caller, events_.state(request.text));
}

void OperatorEvents::addresses(const OperatorCaller& caller, const KeyList& request) {
    finish(caller, events_.addresses(request.keys));
}

void OperatorEvents::hostname(const OperatorCaller& caller, const OneText& request) {
    events_.hostname(request.text);
    answers_.done(caller);
}

void OperatorEvents::event(const OperatorCaller& caller, const RawEvent& request) {
    events_.raw({request.category, request.number}, request.data);
    answers_.done(caller);
}

void OperatorEvents::finish(const OperatorCaller& caller, int result) {
    if (result < 0) {
        return answers_.refuse(caller, OperatorStatus::FAILED, events_.reason());
    }
    answers_.done(caller);
}
