// Subscriptions at the event server.
#include "app/OrvApp.h"

#include "base/OrvText.h"
#include "dbg/OrvEventLog.h"

namespace {

// The request's result (0: not sent) as the daemon counts: 0 or an alarm and -1.
int checked(int sent, const char* what, std::uint32_t category, std::uint32_t event) {
    if (sent != 0) {
        return 0;
    }
    orvAlarm(orvFormat("OrvApp: Error %s event category %u event %u", what, category, event).c_str());
    return -1;
}

}  // namespace

int OrvApp::subscribeConsumer(std::uint32_t category, std::uint32_t event) {
    return checked(Ens_Consumer(this, ensServer_).subscribe(category, event), "subscribing for consumer", category,
                   event);
}

int OrvApp::unsubscribeConsumer(std::uint32_t category, std::uint32_t event) {
    return checked(Ens_Consumer(this, ensServer_).unsubscribe(category, event), "unsubscribing for consumer", category,
                   event);
}

int OrvApp::addProducer(std::uint32_t category, std::uint32_t event) {
    return checked(Ens_Producer(this, ensServer_).add(category, event), "subscribing for producer", category, event);
}

int OrvApp::removeProducer(std::uint32_t category, std::uint32_t event) {
    return checked(Ens_Producer(this, ensServer_).remove(category, event), "unsubscribing for producer", category,
                   event);
}
