// One process's connection with the bus: reaching it, waiting for it, and what it is asked before messages go over it.
//
// A step that fails gives -1, and says why on the standard error and in problem(). Main thread only.
#pragma once

#include "Hsb_Address.h"
#include "platform/posix/Patience.h"

#include <systemd/sd-bus.h>

#include <chrono>
#include <memory>
#include <string>

struct DbusClose {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};

class DbusConnection {
public:
    using Deadline = std::chrono::steady_clock::time_point;

    struct Settings {
        std::string address{};                                         // as in DbusTransport::Options
        std::chrono::milliseconds patience{std::chrono::seconds(30)};  // with an answer of the bus
        bool tellsOfWaiting = false;                                   // that the bus keeps it waiting; once
    };

    explicit DbusConnection(Settings settings);

    explicit operator bool() const { return bus_ != nullptr; }
    // While it is open.
    sd_bus& bus() const { return *bus_; }
    // Node and process of this process.
    const Hsb_Address& self() const { return self_; }

    // Connects and waits until the bus has told our name. A connection that fails is left as it is. Throws
    // std::bad_alloc.
    [[nodiscard]] int open(Deadline deadline);
    // The same without a word, and closed when it fails; for want of memory too.
    [[nodiscard]] bool openQuietly(Deadline deadline);
    void close();

    // To hear of signals that match.
    [[nodiscard]] int follow(const char* match);
    // Node and process of a name's owner; left alone when it has none.
    [[nodiscard]] int lookUp(const char* name, Hsb_Address& owner);
    // Waits for the bus to do something. -1 with errno, and without a word, when the deadline has passed or waiting
    // failed.
    [[nodiscard]] int wait(Deadline deadline);
    Patience& patience() { return patience_; }

    // Says what is wrong: -1.
    int fail(const std::string& what, int error = 0);
    // The same of a connection that was good; without memory problem() stays empty.
    void broke(const char* what, int error) noexcept;
    const std::string& problem() const { return problem_; }
    void forgetProblem() { problem_.clear(); }

private:
    int connect();
    int awaitReady(Deadline deadline);
    int waitForWelcome(Deadline deadline, Deadline word, const std::string& bus);

    Settings settings_;
    std::unique_ptr<sd_bus, DbusClose> bus_;
    Hsb_Address self_;
    Patience patience_;  // while something is waited for
    bool toldOfWaiting_ = false;
    bool quiet_ = false;  // what fails is not said
    std::string problem_;
};
