// Serves one D-Bus connection from the main thread's dispatcher.
//
// Takes what has arrived, a bounded number of messages a turn so that timers and other descriptors are not held up,
// and sends what could not be written at once as soon as the socket takes it. Whatever a receiver throws, the next turn
// is arranged; arranging it, and telling that the connection broke, needs no memory.
#pragma once

#include "Event_Handler.h"
#include "platform/posix/Patience.h"
#include "platform/transport/dbus/DbusAlarm.h"
#include "platform/transport/dbus/DbusMessage.h"

#include <systemd/sd-bus.h>

#include <cstdint>

class DbusLoop final : private Event_Handler, private DbusAlarm::Owner {
public:
    class Owner {
    public:
        // One message that sd-bus had no use for itself. May stop the loop. 0, or -1 when memory is short for it: then
        // it comes again, before any other.
        [[nodiscard]] virtual int busMessage(sd_bus_message& message) = 0;
        // The connection broke; the loop has stopped serving it.
        virtual void busLost(int error) noexcept = 0;

    protected:
        ~Owner() = default;
    };

    static constexpr int MESSAGES_PER_TURN = 64;

    // Many tries: what it waits with is a message.
    explicit DbusLoop(Owner& owner, const Patience& patience = {20, 30000}) : owner_(owner), patience_(patience) {}
    ~DbusLoop() override { stop(); }

    // Serves the connection from now on; it must stay until stop(). 0, or -1.
    [[nodiscard]] int start(sd_bus& bus);
    // Nothing when not started.
    void stop() noexcept;
    // To be called after a send: what it left queued goes out when the socket is writable.
    void sent() noexcept;

private:
    class TurnEnd;

    int handle_input(int fd) override;
    int handle_output(int fd) override;
    int handle_exception(int fd) override;
    int get_handle() const override;
    void alarmRang() override;

    int enlist();
    void turn();
    // Does one thing; 1 when there may be more, 0 when there is not, or a negative errno.
    int step();
    int hand(DbusMessagePtr message);
    void judge(int result) noexcept;
    void endPatience(int error) noexcept;
    int watch(unsigned mask) noexcept;
    void arrangeNextTurn() noexcept;
    void lose(int error) noexcept;

    Owner& owner_;
    sd_bus* bus_ = nullptr;  // Not owned; null while not serving.
    unsigned mask_ = 0;      // What the dispatcher watches for us.
    DbusAlarm alarm_{*this};
    Patience patience_;
    int pause_ = 0;        // Milliseconds without a look at the bus, for want of memory; 0: none.
    DbusMessagePtr held_;  // The message that memory was short for.
};
