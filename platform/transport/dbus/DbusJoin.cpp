// How a process becomes a member of the bus: DbusTransport::join and its steps, and the services' name.
#include "platform/posix/ServiceManager.h"
#include "platform/transport/dbus/DbusAddress.h"
#include "platform/transport/dbus/DbusMessage.h"
#include "platform/transport/dbus/DbusTransport.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

using DbusAddress::SWITCHD_NAME;

namespace {

constexpr std::chrono::milliseconds WORD_AFTER(500);
constexpr const char* BUS_NAME = "org.freedesktop.DBus";
constexpr const char* BUS_PATH = "/org/freedesktop/DBus";

// A client hears of switchd only, and is not woken whenever somebody else comes or goes.
constexpr const char* SWITCHD_MATCH =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
    "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='hsb.Switchd'";
constexpr const char* EVERYBODY_MATCH =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
    "interface='org.freedesktop.DBus',member='NameOwnerChanged'";

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

// "30", "0.5"
std::string seconds(std::chrono::milliseconds span) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(span.count()) / 1000);
    return text;
}

}  // namespace

int DbusTransport::join() {
    if (joined_) {
        return fail("this process is already on the bus");
    }
    lost_ = false;
    problem_.clear();
    patience_.renew();
    int result = -1;
    try {
        result = joinSteps(std::chrono::steady_clock::now() + options_.patience - std::exchange(spent_, {}));
    } catch (const std::bad_alloc&) {
        std::fputs("hsb: cannot join the bus: memory is short\n", stderr);
    }
    joined_ = result == 0;
    if (joined_) {
        lifeSign_.start();
    } else {
        bus_.reset();
        claimed_ = false;
    }
    return result;
}

int DbusTransport::joinSteps(Deadline deadline) {
    const bool waits = options_.role == Role::CLIENT;
    const bool connected = bus_ != nullptr;  // by claim()
    if ((!connected && (connect() < 0 || awaitReady(deadline) < 0)) || followNames() < 0 || lookUpSwitchd() < 0 ||
        (waits && awaitSwitchd(deadline) < 0)) {
        return -1;
    }
    return loop_.start(*bus_) < 0 ? fail("cannot watch the connection with the bus") : 0;
}

int DbusTransport::fail(const std::string& what, int error) {
    problem_ = error == 0 ? what : what + ": " + std::strerror(error);
    if (!quiet_) {
        std::fprintf(stderr, "hsb: %s\n", problem_.c_str());
    }
    return -1;
}

int DbusTransport::connect() {
    const std::string address = busAddress(options_.address);
    sd_bus* raw = nullptr;
    const int result = openBus(address, raw);
    bus_.reset(raw);
    return result < 0 ? fail("cannot connect with " + describe(address), -result) : 0;
}

// Connecting goes on in the background; the first answer of the bus tells our name.
int DbusTransport::awaitReady(Deadline deadline) {
    const std::string bus = describe(busAddress(options_.address));
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
    const auto patience = std::chrono::duration_cast<std::chrono::microseconds>(options_.patience);
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
int DbusTransport::waitForWelcome(Deadline deadline, Deadline word, const std::string& bus) {
    if (options_.role != Role::SERVICES || toldOfWaiting_) {
        return waitForBus(deadline);
    }
    if (waitForBus(std::min(deadline, word)) < 0 && (errno != ETIMEDOUT || word >= deadline)) {
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

int DbusTransport::followNames() {
    const char* match = options_.role == Role::SERVICES ? EVERYBODY_MATCH : SWITCHD_MATCH;
    const int result = sd_bus_add_match(bus_.get(), nullptr, match, nullptr, nullptr);
    return result < 0 ? fail("cannot follow who is on the bus", -result) : 0;
}

// 0 whether or not it is there; switchd_ tells. -1 when the bus does not say.
int DbusTransport::lookUpSwitchd() {
    sd_bus_error error{};
    sd_bus_message* raw = nullptr;
    int result =
        sd_bus_call_method(bus_.get(), BUS_NAME, BUS_PATH, BUS_NAME, "GetNameOwner", &error, &raw, "s", SWITCHD_NAME);
    const DbusMessagePtr reply(raw);
    const bool nobody = sd_bus_error_has_name(&error, "org.freedesktop.DBus.Error.NameHasNoOwner") > 0;
    sd_bus_error_free(&error);
    const char* owner = nullptr;
    if (result >= 0 && sd_bus_message_read(raw, "s", &owner) > 0) {
        result = DbusAddress::parseUniqueName(owner, switchd_);
    }
    return result >= 0 || nobody ? 0 : fail("cannot ask who is on the bus", -result);
}

int DbusTransport::awaitSwitchd(Deadline deadline) {
    while (switchd_ == Hsb_Address{}) {
        sd_bus_message* raw = nullptr;
        const int result = sd_bus_process(bus_.get(), &raw);
        const DbusMessagePtr message(raw);
        while (message && busMessage(*message) < 0 && patience_.waitOut(ENOMEM) == 0) {
        }
        if (result < 0 && patience_.waitOut(-result) < 0) {
            return fail("the connection with the bus broke", -result);
        }
        if (result == 0 && waitForBus(deadline) < 0) {
            return errno == ETIMEDOUT ? fail("switchd did not come to the bus in " + seconds(options_.patience) + " s")
                                      : fail("waiting for switchd was cut short", errno);
        }
    }
    return 0;
}

int DbusTransport::waitForBus(Deadline deadline) {
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

int DbusTransport::takeName() {
    const int result = sd_bus_request_name(bus_.get(), SWITCHD_NAME, 0);
    if (result == -EEXIST) {
        return fail(std::string("the name ") + SWITCHD_NAME + " is taken: another switchd runs on this bus");
    }
    if (result < 0) {
        return fail(std::string("cannot take the name ") + SWITCHD_NAME, -result);
    }
    ownsName_ = true;
    return 0;
}

void DbusTransport::giveNameBack() {
    sd_bus_release_name(bus_.get(), SWITCHD_NAME);
    ownsName_ = false;
}
