#include "platform/transport/dbus/DbusLifeSign.h"

#include "platform/posix/ServiceManager.h"
#include "platform/posix/guarded.h"

#include <algorithm>
#include <climits>

// Without it the service manager finds us dead and starts us again, which is no reason not to begin.
void DbusLifeSign::start() noexcept {
    const auto period = ServiceManager::lifeSign();
    if (!period) {
        return;
    }
    const auto count = std::chrono::duration_cast<std::chrono::milliseconds>(*period).count();
    milliseconds_ = static_cast<int>(std::clamp<long long>(count, 1, INT_MAX));
    guarded("the life sign", [this] {
        if (alarm_.start() == 0) {
            alarmRang();
        }
    });
}

void DbusLifeSign::alarmRang() {
    ServiceManager::alive();
    alarm_.setIn(milliseconds_);
}
