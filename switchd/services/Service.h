// What every service of the switch has in common: it stands at a fixed address and sends from there. Main thread only.
#pragma once

#include "Hsb_Address.h"
#include "platform/transport/Transport.h"

#include <cstdint>
#include <vector>

class Service : public TransportReceiver {
public:
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    // Takes the service's place on the bus. 0, or -1 when somebody else holds it.
    [[nodiscard]] int open();
    // Leaves it; nothing when it is not open. The destructor does the same.
    void close();

protected:
    Service(Transport& transport, const Hsb_Address& address) : transport_(transport), address_(address) {}
    ~Service() { close(); }

    // A message that cannot be sent is lost, like one to a receiver that is gone: whoever waits for it gives up in
    // time.
    void send(const Hsb_Address& to, std::uint16_t format, std::uint16_t code, std::vector<std::uint8_t> payload = {});

private:
    Transport& transport_;
    Hsb_Address address_;
    bool open_ = false;
};

// Whether an address belongs to the process that peerLeft() names.
inline bool belongsTo(const Hsb_Address& address, const Hsb_Address& process) {
    return address.node == process.node && address.process == process.process;
}
