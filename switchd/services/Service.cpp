#include "switchd/services/Service.h"

#include "Hsb_Message.h"

#include <utility>

int Service::open() {
    if (transport_.attachService(*this, address_) < 0) {
        return -1;
    }
    open_ = true;
    return 0;
}

void Service::close() {
    if (open_) {
        transport_.detach(address_);
        open_ = false;
    }
}

void Service::send(const Hsb_Address& to, std::uint16_t format, std::uint16_t code, std::vector<std::uint8_t> payload) {
    Hsb_Message message(format, code, std::move(payload));
    message.source(address_);
    message.destination(to);
    (void)transport_.send(message);
}
