// How messages travel: the one interface between the client library, the services and what carries them.
//
// One transport per process carries any number of parties. Everything runs on the thread of the main dispatcher.
// Messages are one-way; two messages from one sender to one receiver arrive in the order sent. Delivery always
// comes from the loop, never from within send(). The transport vouches for the source of what it delivers: only a
// process that holds a service's address speaks for services; whatever another one claims, its own node and process
// are put in.
#pragma once

#include "Hsb_Address.h"

#include <memory>
#include <string>

class Hsb_Message;

// A party that receives messages. Not owned by the transport; detached before it dies.
class TransportReceiver {
public:
    virtual void receive(Hsb_Message& message) = 0;
    // Every party of this process has left the bus (it ended, or its connection broke): node and process are set,
    // slot is 0xFFFF. Only parties attached as services are told.
    virtual void peerLeft(const Hsb_Address& /*process*/) {}

protected:
    ~TransportReceiver() = default;
};

class Transport {
public:
    virtual ~Transport() = default;

    enum class Claim {
        MINE,
        ANOTHERS,  // a living process has it
        UNKNOWN,   // the bus cannot be asked; join() tells why
    };
    // Takes a component's name on the bus for this process, before join() or after it, until it leaves the bus or ends.
    [[nodiscard]] virtual Claim claim(const std::string& /*component*/) { return Claim::UNKNOWN; }
    // Connects this process with the bus. 0, or -1 (the reason goes to stderr or syslog).
    [[nodiscard]] virtual int join() = 0;
    // The connection broke after join(): nothing arrives any more, and Hsb::handle_events fails.
    virtual bool lost() const { return false; }
    // Disconnects; attached parties receive nothing any more. Nothing when not joined.
    virtual void leave() = 0;

    // Gives a party an address of its own. 0, or -1.
    [[nodiscard]] virtual int attach(TransportReceiver& receiver, Hsb_Address& address) = 0;
    // Attaches a party at a service's fixed address (MessageCodes.h). 0, or -1 when it is taken.
    [[nodiscard]] virtual int attachService(TransportReceiver& receiver, const Hsb_Address& address) = 0;
    // The party at this address receives nothing any more.
    virtual void detach(const Hsb_Address& address) = 0;

    // Sends a message whose source and destination are set. 0, or -1 when it cannot be sent. A message to an
    // address that nobody holds is dropped.
    [[nodiscard]] virtual int send(const Hsb_Message& message) = 0;
};

// The transport this program was linked with; null when it has none to offer by itself.
std::unique_ptr<Transport> defaultTransport();
