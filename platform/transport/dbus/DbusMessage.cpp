#include "platform/transport/dbus/DbusMessage.h"

#include <cerrno>
#include <new>

namespace DbusMessage {
namespace {

int appendHeader(sd_bus_message* call, const Hsb_Message& message) {
    const Hsb_Address& to = message.destination();
    const Hsb_Address& from = message.source();
    return sd_bus_message_append(call, HEADER, to.node, to.process, unsigned{to.slot}, from.node, from.process,
                                 unsigned{from.slot}, unsigned{message.format()}, unsigned{message.code()});
}

}  // namespace

DbusMessagePtr pack(sd_bus& bus, const char* destination, const Hsb_Message& message) {
    const auto payload = message.payload();
    sd_bus_message* raw = nullptr;
    if (payload.size() > MAX_PAYLOAD ||
        sd_bus_message_new_method_call(&bus, &raw, destination, PATH, INTERFACE, MEMBER) < 0) {
        return nullptr;
    }
    DbusMessagePtr call(raw);
    if (sd_bus_message_set_expect_reply(raw, 0) < 0 || sd_bus_message_set_auto_start(raw, 0) < 0 ||
        appendHeader(raw, message) < 0 || sd_bus_message_append_array(raw, 'y', payload.data(), payload.size()) < 0) {
        return nullptr;
    }
    return call;
}

bool isOurs(sd_bus_message& call) {
    return sd_bus_message_is_method_call(&call, INTERFACE, MEMBER) > 0 &&
           sd_bus_message_has_signature(&call, SIGNATURE) > 0;
}

int unpack(sd_bus_message& call, Hsb_Message& message) {
    Hsb_Address to;
    Hsb_Address from;
    std::uint16_t format = 0;
    std::uint16_t code = 0;
    const void* payload = nullptr;
    std::size_t size = 0;
    int result = sd_bus_message_rewind(&call, 1);
    if (result >= 0) {
        result = sd_bus_message_read(&call, HEADER, &to.node, &to.process, &to.slot, &from.node, &from.process,
                                     &from.slot, &format, &code);
    }
    if (result >= 0) {
        result = sd_bus_message_read_array(&call, 'y', &payload, &size);
    }
    if (result < 0) {
        return result == -ENOMEM ? -ENOMEM : -EBADMSG;
    }
    try {
        const auto* bytes = static_cast<const std::uint8_t*>(payload);
        message = Hsb_Message(format, code, std::vector<std::uint8_t>(bytes, bytes + size));
    } catch (const std::bad_alloc&) {
        return -ENOMEM;
    }
    message.source(from);
    message.destination(to);
    return 0;
}

}  // namespace DbusMessage
