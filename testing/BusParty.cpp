#include "testing/BusParty.h"

#include <stdexcept>
#include <utility>

BusParty::BusParty(LoopbackBus& bus) : transport_(bus) {
    if (transport_.join() < 0 || transport_.attach(*this, address_) < 0) {
        throw std::runtime_error("BusParty: cannot join the bus");
    }
}

void BusParty::send(const Hsb_Address& to, std::uint16_t format, std::uint16_t code,
                    std::vector<std::uint8_t> payload) {
    Hsb_Message message(format, code, std::move(payload));
    message.source(address_);
    message.destination(to);
    (void)transport_.send(message);  // a test that makes the bus refuse looks at what does not arrive
}

std::vector<Hsb_Message> BusParty::take() {
    return std::exchange(messages_, {});
}
