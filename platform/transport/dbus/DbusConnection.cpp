#include "platform/transport/dbus/DbusConnection.h"

#include "platform/posix/ServiceManager.h"
#include "platform/transport/dbus/DbusAddress.h"
#include "platform/transport/dbus/DbusMessage.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr std::chrono::milliseconds WORD_AFTER(500);
constexpr const char* BUS_NAME = "org.freedesktop.DBus";
constexpr const char* BUS_PATH = "/org/freedesktop/DBus";

std::string busAddress(const std::string& option) {
    if (!option.empty()) {
        return option;
    }
    const char* fromEnvironment = std::getenv("HSB_BUS");
    return fromEnvironment == nullptr ? "" : fromEnvironment;
}

std::string describe(const std::string& address) {
    if (!address.empty()) {
        return "the bus " + address;
    }
    return geteuid() == 0 ? "the system bus (HSB_BUS is not set)" : "the session bus (HSB_BUS is not set)";
}

int openBus(const std::string& address, sd_bus*& bus) {
    if (address.empty()) {
        return geteuid() == 0 ? sd_bus_open_system(&bus) : sd_bus_open_user(&bus);
    }
    int result = sd_bus_new(&bus);
    if (result >= 0) {
        result = sd_bus_set_address(bus, address.c_str());
    }
    if (result >= 0) {
        result = sd_bus_set_bus_client(bus, 1);
    }
    return result < 0 ? result : sd_bus_start(bus);
}

}  // namespace

DbusConnection::DbusConnection(Settings settings) : settings_(std::move(settings)) {
}

int DbusConnection::open(Deadline deadline) {
    return connect() < 0 ? -1 : awaitReady(deadline);
}

bool DbusConnection::openQuietly(Deadline deadline) {
    patience_.renew();
    quiet_ = true;
    int result = -1;
    try {
        result = open(deadline);
    } catch (const std::bad_alloc&) {
        // As with any other reason.
    }
    quiet_ = false;
    if (result < 0) {
        close();
    }
    return result == 0;
}

void DbusConnection::close() {
    bus_.reset();
    self_ = Hsb_Address{};
}

int DbusConnection::connect() {
    const std::string address = busAddress(settings_.address);
    sd_bus* raw = nullptr;
    const int result = openBus(address, raw);
    bus_.reset(raw);
    return result < 0 ? fail("cannot connect with " + describe(address), -result) : 0;
}

// Connecting goes on in the background; the first answer of the bus tells our name.
int DbusConnection::awaitReady(Deadline deadline) {
    const std::string bus = describe(busAddress(settings_.address));
    const Deadline word = std::chrono::steady_clock::now() + WORD_AFTER;
    while (sd_bus_is_ready(bus_.get()) == 0) {
        const int result = sd_bus_process(bus_.get(), nullptr);
        if (result < 0 && patience_.waitOut(-result) < 0) {
            return fail("cannot connect with " + bus, -result);
        }
        if (result == 0 && waitForWelcome(deadline, word, bus) < 0) {
            return fail("no answer from " + bus, errno);
        }
    }
    const auto patience = std::chrono::duration_cast<std::chrono::microseconds>(settings_.patience);
    sd_bus_set_method_call_timeout(bus_.get(),
                                   static_cast<std::uint64_t>(std::max(patience.count(), std::int64_t{1000000})));
    const char* name = nullptr;
    const int result = sd_bus_get_unique_name(bus_.get(), &name);
    if (result < 0) {
        return fail("cannot connect with " + bus, -result);
    }
    return DbusAddress::parseUniqueName(name, self_) < 0
               ? fail(std::string("cannot use the bus's name for us, ") + name)
               : 0;
}

// The services' process says what holds it up: there is nobody else yet whom an operator could ask.
int DbusConnection::waitForWelcome(Deadline deadline, Deadline word, const std::string& bus) {
    if (!settings_.tellsOfWaiting || toldOfWaiting_) {
        return wait(deadline);
    }
    if (wait(std::min(deadline, word)) < 0 && (errno != ETIMEDOUT || word >= deadline)) {
        return -1;
    }
    if (std::chrono::steady_clock::now() >= word) {
        toldOfWaiting_ = true;
        const std::string text = "waiting for " + bus;
        std::fprintf(stderr, "hsb: %s\n", text.c_str());
        ServiceManager::status(text.c_str());
    }
    return 0;
}

int DbusConnection::follow(const char* match) {
    const int result = sd_bus_add_match(bus_.get(), nullptr, match, nullptr, nullptr);
    return result < 0 ? fail("cannot follow who is on the bus", -result) : 0;
}

int DbusConnection::lookUp(const char* name, Hsb_Address& owner) {
    sd_bus_error error{};
    sd_bus_message* raw = nullptr;
    int result = sd_bus_call_method(bus_.get(), BUS_NAME, BUS_PATH, BUS_NAME, "GetNameOwner", &error, &raw, "s", name);
    const DbusMessagePtr reply(raw);
    const bool nobody = sd_bus_error_has_name(&error, "org.freedesktop.DBus.Error.NameHasNoOwner") > 0;
    sd_bus_error_free(&error);
    const char* process = nullptr;
    if (result >= 0 && sd_bus_message_read(raw, "s", &process) > 0) {
        result = DbusAddress::parseUniqueName(process, owner);
    }
    return result >= 0 || nobody ? 0 : fail("cannot ask who is on the bus", -result);
}

int DbusConnection::wait(Deadline deadline) {
    const auto span = deadline - std::chrono::steady_clock::now();
    if (span <= span.zero()) {
        errno = ETIMEDOUT;
        return -1;
    }
    const auto limit = std::chrono::duration_cast<std::chrono::microseconds>(span).count();
    const int result = sd_bus_wait(bus_.get(), static_cast<std::uint64_t>(limit));
    if (result >= 0) {
        patience_.renew();
    } else if (patience_.waitOut(-result) < 0) {
        errno = -result;
        return -1;
    }
    return 0;
}

int DbusConnection::fail(const std::string& what, int error) {
    problem_ = error == 0 ? what : what + ": " + std::strerror(error);
    if (!quiet_) {
        std::fprintf(stderr, "hsb: %s\n", problem_.c_str());
    }
    return -1;
}

void DbusConnection::broke(const char* what, int error) noexcept {
    const char* const colon = error == 0 ? "" : ": ";
    const char* const why = error == 0 ? "" : std::strerror(error);
    std::fprintf(stderr, "hsb: %s%s%s\n", what, colon, why);
    try {
        problem_ = std::string(what) + colon + why;
    } catch (const std::bad_alloc&) {
        problem_.clear();
    }
}
