#include "Ens.h"

#include "Cns.h"
#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "platform/client/request.h"
#include "platform/wire/CnsWire.h"
#include "platform/wire/EnsWire.h"

#include <cstring>

namespace {

// 0 when it could not be sent, else a positive value.
int ask(Hsb_Component* component, const Hsb_Address& server, std::uint16_t code, std::uint32_t category,
        std::uint32_t event) {
    const auto encode = [&] { return encodeFields(EnsRequest{category, event}); };
    return request(component, server, MessageFormat::ENS, code, encode) == 0 ? 1 : 0;
}

}  // namespace

Ens* Ens::instance() {
    static Ens ens;
    return &ens;
}

int Ens::init() {
    return HostBus::instance().joined() ? 1 : 0;
}

// Nothing is held: the event service forgets a process when it leaves the bus.
void Ens::shutdown() {
}

std::uint32_t Ens::lookup_server(Hsb_Component* component) {
    std::uint32_t tag = NO_TAG;
    guarded("looking up the event server", [&] {
        Cns_Lookup lookup(CnsName::LOOKUP_KIND, CnsName::EVENT_SERVER,
                          static_cast<int>(std::strlen(CnsName::EVENT_SERVER)), CnsName::PRIMARY,
                          static_cast<int>(std::strlen(CnsName::PRIMARY)), CnsName::LOOKUP_OPTIONS);
        tag = lookup.send(component);
    });
    return tag;
}

Ens_Consumer::Ens_Consumer(Hsb_Component* component, const Hsb_Address& server)
    : component_(component), server_(server) {
}

int Ens_Consumer::subscribe(std::uint32_t category, std::uint32_t event) {
    return ask(component_, server_, EnsCode::SUBSCRIBE, category, event);
}

int Ens_Consumer::unsubscribe(std::uint32_t category, std::uint32_t event) {
    return ask(component_, server_, EnsCode::UNSUBSCRIBE, category, event);
}

Ens_Producer::Ens_Producer(Hsb_Component* component, const Hsb_Address& server)
    : component_(component), server_(server) {
}

int Ens_Producer::add(std::uint32_t category, std::uint32_t event) {
    return ask(component_, server_, EnsCode::PRODUCER_ADD, category, event);
}

int Ens_Producer::remove(std::uint32_t category, std::uint32_t event) {
    return ask(component_, server_, EnsCode::PRODUCER_REMOVE, category, event);
}

Ens_Event::Ens_Event(const Hsb_Message& message) {
    if (const auto event = decodeFields<EnsEventData>(message.payload())) {
        category_ = event->category;
        number_ = event->number;
        data_ = event->data;
    }
}
