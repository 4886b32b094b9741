// Rings at one of sd-bus's deadlines, from the main thread's dispatcher.
//
// A descriptor and no timer of the dispatcher's: setting it never needs memory, and no time scale bends it.
#pragma once

#include "Descriptor.h"
#include "Event_Handler.h"

#include <cstdint>

class DbusAlarm final : private Event_Handler {
public:
    class Owner {
    public:
        virtual void alarmRang() = 0;

    protected:
        ~Owner() = default;
    };

    static constexpr std::uint64_t NEVER = UINT64_MAX;

    explicit DbusAlarm(Owner& owner) : owner_(owner) {}
    ~DbusAlarm() override { stop(); }

    // 0, or -1. Rings from now on at the deadlines that are set.
    [[nodiscard]] int start();
    void stop() noexcept;

    // Rings once at this time of CLOCK_MONOTONIC in microseconds, at once when that is past. Replaces the former one.
    void set(std::uint64_t deadline) noexcept;
    void setIn(int milliseconds) noexcept;

private:
    int handle_input(int fd) override;
    int get_handle() const override { return timer_.get(); }

    Owner& owner_;
    Descriptor timer_;
    bool set_ = false;
};
