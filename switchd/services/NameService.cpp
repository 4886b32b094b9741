#include "switchd/services/NameService.h"

#include "Hsb_Message.h"
#include "MessageCodes.h"

#include <utility>

namespace {

struct KnownFromTheStart {
    const char* name;
    Hsb_Address address;
};

constexpr KnownFromTheStart SERVICES[] = {
    {CnsName::EVENT_SERVER, ServiceAddress::EVENTS},
    {CnsName::MANAGEMENT, ServiceAddress::MANAGEMENT},
};

}  // namespace

NameService::NameService(Transport& transport, Components& components, Faults& faults)
    : Service(transport, ServiceAddress::NAMES), components_(components), faults_(faults) {
}

void NameService::receive(Hsb_Message& message) {
    if (message.format() != MessageFormat::CNS) {
        return;
    }
    switch (message.code()) {
        case CnsCode::REGISTER:
            return handleRegister(message);
        case CnsCode::UNREGISTER:
            return handleUnregister(message);
        case CnsCode::LOOKUP:
            return handleLookup(message);
        default:
            return;
    }
}

void NameService::peerLeft(const Hsb_Address& process) {
    std::erase_if(waiting_, [&](const Waiting& waiting) { return belongsTo(waiting.caller, process); });
    components_.left(process);
}

void NameService::handleRegister(const Hsb_Message& message) {
    const auto request = decodeFields<CnsRegister>(message.payload());
    if (request && !request->name.empty()) {
        components_.registered(message.source(), request->name);
        answerThoseWaiting();
    }
}

void NameService::handleUnregister(const Hsb_Message& message) {
    if (const auto request = decodeFields<CnsUnregister>(message.payload())) {
        components_.unregistered(message.source(), request->name);
    }
}

void NameService::handleLookup(const Hsb_Message& message) {
    const auto lookup = decodeFields<CnsLookup>(message.payload());
    if (!lookup || faults_.judge(FaultOperation::LOOKUP, {&lookup->name, 1}).silent) {
        return;
    }
    Waiting waiting{message.source(), *lookup};
    if (const auto address = find(*lookup)) {
        answer(waiting, *address);
        return;
    }
    waiting_.push_back(std::move(waiting));
    if (waiting_.size() > MAX_WAITING) {
        waiting_.pop_front();
    }
}

// There is one instance of everything here, the primary one.
std::optional<Hsb_Address> NameService::find(const CnsLookup& lookup) const {
    if (!lookup.instance.empty() && lookup.instance != CnsName::PRIMARY) {
        return std::nullopt;
    }
    for (const KnownFromTheStart& service : SERVICES) {
        if (lookup.name == service.name) {
            return service.address;
        }
    }
    const Components::Component* component = components_.named(lookup.name);
    return component != nullptr ? std::optional(component->address) : std::nullopt;
}

void NameService::answer(const Waiting& waiting, const Hsb_Address& address) {
    const CnsLookupResponse response{waiting.lookup.tag, address};
    send(waiting.caller, MessageFormat::CNS, CnsCode::LOOKUP_RESPONSE, encodeFields(response));
}

void NameService::answerThoseWaiting() {
    std::erase_if(waiting_, [this](const Waiting& waiting) {
        const auto address = find(waiting.lookup);
        if (address) {
            answer(waiting, *address);
        }
        return address.has_value();
    });
}
