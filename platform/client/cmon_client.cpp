#include "cmon_client.h"

#include "MessageCodes.h"
#include "platform/client/request.h"
#include "platform/wire/CmonWire.h"

cmon_client::cmon_client(Hsb_Component* owner) : owner_(owner) {
}

int cmon_client::ready_for_conf() {
    return request(owner_, ServiceAddress::MONITOR, MessageFormat::CMON, CmonCode::READY_FOR_CONF,
                   [] { return std::vector<std::uint8_t>(); });
}

int cmon_client::conf_read_ack(int status) {
    return request(owner_, ServiceAddress::MONITOR, MessageFormat::CMON, CmonCode::CONF_READ_ACK,
                   [&] { return encodeFields(CmonConfReadAck{status}); });
}
