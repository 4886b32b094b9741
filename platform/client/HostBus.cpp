#include "platform/client/HostBus.h"

#include "Hsb_Component.h"
#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "platform/client/HostPlatform.h"
#include "platform/posix/guarded.h"
#include "platform/wire/CnsWire.h"

#include <algorithm>
#include <array>
#include <utility>

void HostPlatform::useTransport(Transport* transport) {
    HostBus::instance().useTransport(transport);
}

HostBus& HostBus::instance() {
    static HostBus& bus = *new HostBus;  // never destroyed: components may outlive main
    return bus;
}

int HostBus::join() {
    if (joined()) {
        return 0;
    }
    Transport* const transport = choose();
    if (transport == nullptr || transport->join() < 0) {
        linked_.reset();
        return -1;
    }
    transport_ = transport;
    return 0;
}

Transport* HostBus::choose() {
    if (chosen_ != nullptr) {
        return chosen_;
    }
    if (linked_ == nullptr) {
        linked_ = defaultTransport();
    }
    return linked_.get();
}

Transport::Claim HostBus::claim(const std::string& component) {
    Transport* const transport = joined() ? transport_ : choose();
    return transport != nullptr ? transport->claim(component) : Transport::Claim::UNKNOWN;
}

void HostBus::leave() {
    if (!joined()) {
        return;
    }
    std::exchange(transport_, nullptr)->leave();
    parties_.clear();
    linked_.reset();
}

int HostBus::attach(Hsb_Component* component, Hsb_Address& address) {
    if (!joined() || component == nullptr || find(component) != nullptr) {
        return -1;
    }
    auto party = std::make_unique<SlotParty>(*component);
    parties_.reserve(parties_.size() + 1);  // what the transport knows is not lost for want of memory
    if (transport_->attach(*party, party->address) < 0) {
        return -1;
    }
    address = party->address;
    parties_.push_back(std::move(party));
    return 0;
}

void HostBus::detach(Hsb_Component* component) {
    const auto gone = std::ranges::find(parties_, component, [](const auto& party) { return &party->component(); });
    if (gone != parties_.end()) {
        unregister(**gone);
        transport_->detach((*gone)->address);
        parties_.erase(gone);
    }
}

SlotParty* HostBus::find(const Hsb_Component* component) {
    const auto found = std::ranges::find(parties_, component, [](const auto& party) { return &party->component(); });
    return found != parties_.end() ? found->get() : nullptr;
}

int HostBus::send(const Hsb_Component* from, const Hsb_Address& to, std::uint16_t format, std::uint16_t code,
                  std::vector<std::uint8_t> payload) {
    const SlotParty* const sender = find(from);
    return sender != nullptr ? send(*sender, to, format, code, std::move(payload)) : -1;
}

int HostBus::sendFromAny(const Hsb_Component* from, const Hsb_Address& to, std::uint16_t format, std::uint16_t code,
                         std::vector<std::uint8_t> payload) {
    const SlotParty* sender = find(from);
    if (sender == nullptr && !parties_.empty()) {
        sender = parties_.front().get();
    }
    return sender != nullptr ? send(*sender, to, format, code, std::move(payload)) : -1;
}

int HostBus::send(const SlotParty& from, const Hsb_Address& to, std::uint16_t format, std::uint16_t code,
                  std::vector<std::uint8_t> payload) {
    Hsb_Message message(format, code, std::move(payload));
    message.source(from.address);
    message.destination(to);
    return send(message);
}

// An address that is not known yet is nobody's.
int HostBus::send(const Hsb_Message& message) {
    const bool known = message.destination() != Hsb_Address{};
    return joined() && known ? transport_->send(message) : -1;
}

void HostBus::unregister(SlotParty& party) {
    if (party.registeredName.empty()) {
        return;
    }
    const CnsUnregister request{std::exchange(party.registeredName, {})};
    // The name service also notices when a process leaves: a request that is not sent does no harm.
    guarded("unregistering", [&] {
        [[maybe_unused]] const int sent =
            send(party, ServiceAddress::NAMES, MessageFormat::CNS, CnsCode::UNREGISTER, encodeFields(request));
    });
}

void HostBus::unregisterAll() {
    for (const auto& party : parties_) {
        unregister(*party);
    }
}

std::string componentName(Hsb_Component* component) {
    std::array<char, 256> buffer{};
    const int length = component != nullptr ? component->component_name(buffer.data(), 255) : -1;
    return length > 0 && length <= 255 ? std::string(buffer.data(), static_cast<std::size_t>(length)) : std::string();
}
