// Tells the service manager that the main thread's loop turns, as often as it asks for it. Nothing where nobody asks.
#pragma once

#include "platform/transport/dbus/DbusAlarm.h"

class DbusLifeSign final : private DbusAlarm::Owner {
public:
    void start() noexcept;
    void stop() noexcept { alarm_.stop(); }

private:
    void alarmRang() override;

    DbusAlarm alarm_{*this};
    int milliseconds_ = 0;
};
