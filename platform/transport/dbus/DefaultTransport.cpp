#include "platform/transport/dbus/DbusTransport.h"

std::unique_ptr<Transport> defaultTransport() {
    return std::make_unique<DbusTransport>();
}
