// Carries messages between processes over D-Bus (sd-bus).
//
// Each message is a one-way method call to the process that holds its destination. Whose node and process a message
// comes from is taken from D-Bus, which vouches for its sender; only the owner of the name hsb.Switchd speaks for the
// services' addresses. When the connection breaks, or switchd leaves the bus under a client, the transport is lost:
// the names and subscriptions that a client had registered are gone with it, so its process has to start anew.
//
// send() never waits. What the socket does not take at once is queued, up to a bound, and refused beyond. Behind the
// socket the bus daemon's own limits hold ("max_incoming_bytes" of its configuration: it stops reading from a process
// that has too much under way). Main thread only.
#pragma once

#include "platform/transport/Transport.h"
#include "platform/transport/dbus/DbusBacklog.h"
#include "platform/transport/dbus/DbusClaim.h"
#include "platform/transport/dbus/DbusConnection.h"
#include "platform/transport/dbus/DbusLifeSign.h"
#include "platform/transport/dbus/DbusLoop.h"

#include <systemd/sd-bus.h>

#include <chrono>
#include <map>
#include <string>
#include <tuple>

class DbusTransport final : public Transport, private DbusLoop::Owner {
public:
    enum class Role {
        CLIENT,    // Waits in join() until switchd is there.
        SERVICES,  // Is switchd: owns the name hsb.Switchd while it holds a service's address.
    };
    struct Options {
        Role role = Role::CLIENT;
        // D-Bus address; empty: HSB_BUS, else the system bus for root and the session bus for others.
        std::string address{};
        // How long claim() and join() may take altogether.
        std::chrono::milliseconds patience = std::chrono::seconds(30);
        // What may wait until the socket takes it.
        std::uint64_t maxQueuedMessages = 100000;
        std::uint64_t maxQueuedBytes = 256u << 20;
    };

    DbusTransport() : DbusTransport(Options{}) {}
    explicit DbusTransport(Options options);
    ~DbusTransport();

    [[nodiscard]] Claim claim(const std::string& component) override;
    [[nodiscard]] int join() override;
    bool lost() const override { return lost_; }
    void leave() override;
    [[nodiscard]] int attach(TransportReceiver& receiver, Hsb_Address& address) override;
    [[nodiscard]] int attachService(TransportReceiver& receiver, const Hsb_Address& address) override;
    void detach(const Hsb_Address& address) override;
    [[nodiscard]] int send(const Hsb_Message& message) override;

    // Why join() failed or the connection was lost; empty while all is well, and when there was no memory for it.
    const std::string& problem() const { return connection_.problem(); }

private:
    using Deadline = DbusConnection::Deadline;
    // {node, process, slot} of services, {own node, own process, slot} of other parties.
    using Key = std::tuple<std::uint32_t, std::uint32_t, std::uint16_t>;

    static Key keyOf(const Hsb_Address& address) { return {address.node, address.process, address.slot}; }

    int busMessage(sd_bus_message& message) override;
    void busLost(int error) noexcept override;

    // Steps of join(), each 0 or -1 with problem() set.
    int joinSteps(Deadline deadline);
    int awaitSwitchd(Deadline deadline);

    // The name of the services: taken with the first, given back with the last. 0, or -1 with problem() set.
    int takeName();
    void giveNameBack();
    bool holdsServices() const;
    // These give 0, or -1 when memory is short.
    int deliver(sd_bus_message& call);
    int nameOwnerChanged(sd_bus_message& signal);
    void switchdChanged(const char* owner);
    void tellServices(const Hsb_Address& gone);
    void lose(const char* what, int error = 0) noexcept;

    int complain(const Hsb_Message& message, const char* why);
    void flush(Deadline deadline);

    Options options_;
    DbusConnection connection_;
    DbusClaim claim_;
    DbusBacklog backlog_;
    DbusLoop loop_{*this};
    DbusLifeSign lifeSign_;
    std::map<Key, TransportReceiver*> parties_;
    bool ownsName_ = false;
    Hsb_Address switchd_;  // Node and process of hsb.Switchd's owner; 0xFF bytes while it has none.
    std::uint16_t lastSlot_ = 0;
    bool joined_ = false;
    bool lost_ = false;
};
