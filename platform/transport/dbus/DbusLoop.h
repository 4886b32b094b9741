// Serves one D-Bus connection from the main thread's dispatcher.
//
// Takes what has arrived, a bounded number of messages a turn so that timers and other descriptors are not held up,
// and sends what could not be written at once as soon as the socket takes it.
#pragma once

#include "Event_Handler.h"

#include <systemd/sd-bus.h>

#include <cstdint>

class DbusLoop final : private Event_Handler {
public:
    class Owner {
    public:
        // One message that sd-bus had no use for itself. May stop the loop.
        virtual void busMessage(sd_bus_message& message) = 0;
        // The connection broke; the loop has stopped serving it.
        virtual void busLost(int error) = 0;

    protected:
        ~Owner() = default;
    };

    static constexpr int MESSAGES_PER_TURN = 64;

    explicit DbusLoop(Owner& owner) : owner_(owner) {}
    ~DbusLoop() override { stop(); }

    // Serves the connection from now on; it must stay until stop(). 0, or -1.
    [[nodiscard]] int start(sd_bus& bus);
    // Nothing when not started.
    void stop();
    // To be called after a send: what it left queued goes out when the socket is writable.
    void sent();

private:
    int handle_input(int fd) override;
    int handle_output(int fd) override;
    int handle_exception(int fd) override;
    int get_handle() const override;

    int turn();
    // Lets sd-bus do one thing; 1 when there may be more, 0 when there is not, or its error.
    int step();
    int watch(unsigned mask);
    void arrangeNextTurn();
    void forgetTimer();
    void lose(int error);

    Owner& owner_;
    sd_bus* bus_ = nullptr;    // Not owned; null while not serving.
    unsigned mask_ = 0;        // What the dispatcher watches for us.
    std::uint64_t timer_ = 0;  // The dispatcher's number of our next turn; 0 for none.
};
