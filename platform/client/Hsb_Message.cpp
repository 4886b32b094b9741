#include "Hsb_Message.h"

#include "platform/client/HostBus.h"
#include "platform/posix/guarded.h"

int Hsb_Message::reply(std::uint16_t format, std::uint16_t code, std::vector<std::uint8_t> payload) const {
    Hsb_Message answer(format, code, std::move(payload));
    answer.source(destination_);
    answer.destination(source_);
    int sent = -1;
    guarded("sending", [&] { sent = HostBus::instance().send(answer); });
    return sent;
}
