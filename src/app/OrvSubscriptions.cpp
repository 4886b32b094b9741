#include "app/OrvSubscriptions.h"

#include "Ens.h"
#include "base/OrvTell.h"
#include "dbg/OrvEventLog.h"

namespace {

struct Subscription {
    EventId event;
    const char* subject;
};

// In the order in which they are made.
constexpr Subscription kSubscriptions[] = {
    {SwitchEvent::LOG_RECORD, "entries of the switch's log"},
    {SwitchEvent::STATE, "changes of the switch's state"},
    {SwitchEvent::INTERFACE_CHANGE, "changes of the switch's addresses"},
    {SwitchEvent::HOSTNAME, "changes of the switch's host name"},
};

// The request's result (0: not sent) as the daemon counts: 0 or an alarm and -1.
int checked(int sent, const OrvLogEntry<unsigned, unsigned>& alarm, const EventId& event) {
    if (sent != 0) {
        return 0;
    }
    orvAlarm(alarm, event.category, event.number);
    return -1;
}

}  // namespace

void OrvSubscriptions::begin() {
    for (const Subscription& each : kSubscriptions) {
        if (subscribeConsumer(each.event) < 0) {
            orvTell("%s are not heard of until the daemon is started again", each.subject);
        }
    }
}

void OrvSubscriptions::end() {
    unsubscribeConsumer(SwitchEvent::LOG_RECORD);
    unsubscribeConsumer(SwitchEvent::STATE);
}

int OrvSubscriptions::subscribeConsumer(const EventId& event) {
    return checked(Ens_Consumer(&component_, server_).subscribe(event.category, event.number),
                   orv_log::kConsumerNotAdded, event);
}

int OrvSubscriptions::unsubscribeConsumer(const EventId& event) {
    return checked(Ens_Consumer(&component_, server_).unsubscribe(event.category, event.number),
                   orv_log::kConsumerNotRemoved, event);
}

int OrvSubscriptions::addProducer(const EventId& event) {
    return checked(Ens_Producer(&component_, server_).add(event.category, event.number), orv_log::kProducerNotAdded,
                   event);
}

int OrvSubscriptions::removeProducer(const EventId& event) {
    return checked(Ens_Producer(&component_, server_).remove(event.category, event.number),
                   orv_log::kProducerNotRemoved, event);
}
