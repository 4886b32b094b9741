#include "Cns.h"

#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "platform/client/request.h"
#include "platform/wire/CnsWire.h"

namespace {

constexpr std::size_t LONGEST_NAME = 255;

std::uint32_t nextTag() {
    static std::uint32_t last = 0;
    ++last;
    if (last == NO_TAG) {
        last = 1;
    }
    return last;
}

std::string textOf(const char* text, int length) {
    return text != nullptr && length > 0 ? std::string(text, static_cast<std::size_t>(length)) : std::string();
}

}  // namespace

Cns* Cns::instance() {
    static Cns cns;
    return &cns;
}

int Cns::init(int /*options*/) {
    return HostBus::instance().joined() ? 1 : 0;
}

void Cns::shutdown() {
    HostBus::instance().unregisterAll();
}

Cns_Registration::Cns_Registration(Hsb_Component* component, int kind, int options)
    : component_(component), kind_(kind), options_(options) {
}

int Cns_Registration::add() {
    SlotParty* const party = HostBus::instance().find(component_);
    std::string name;
    guarded("component_name", [&] { name = componentName(component_); });
    if (party == nullptr || name.empty()) {
        return -1;
    }
    const int sent = request(component_, ServiceAddress::NAMES, MessageFormat::CNS, CnsCode::REGISTER, [&] {
        return encodeFields(CnsRegister{kind_, options_, name});
    });
    if (sent == 0) {
        party->registeredName = std::move(name);
    }
    return sent;
}

Cns_Lookup::Cns_Lookup(int kind, const char* name, int nameLength, const char* instance, int instanceLength,
                       int options)
    : kind_(kind), name_(textOf(name, nameLength)), instance_(textOf(instance, instanceLength)), options_(options) {
}

std::uint32_t Cns_Lookup::send(Hsb_Component* component) {
    if (name_.empty() || name_.size() > LONGEST_NAME || instance_.size() > LONGEST_NAME) {
        return NO_TAG;
    }
    const std::uint32_t tag = nextTag();
    const int sent = request(component, ServiceAddress::NAMES, MessageFormat::CNS, CnsCode::LOOKUP, [&] {
        return encodeFields(CnsLookup{tag, kind_, options_, name_, instance_});
    });
    return sent == 0 ? tag : NO_TAG;
}

Cns_Lookup_Response::Cns_Lookup_Response(const Hsb_Message& message) {
    if (const auto response = decodeFields<CnsLookupResponse>(message.payload())) {
        tag_ = response->tag;
        address_ = response->address;
    }
}
