// Test support: a D-Bus daemon of one test's own, on a socket in a directory of its own. It ends with the object.
#pragma once

#include "testing/platform/Child.h"

#include <memory>
#include <string>

class PrivateBus {
public:
    // Throws std::runtime_error when the daemon does not start.
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    const std::string& address() const { return address_; }
    const std::string& directory() const { return directory_; }
    // The bus takes and delivers nothing until resume().
    void suspend();
    void resume();
    // The bus is gone; everybody's connection breaks.
    void kill() { daemon_.reset(); }

private:
    void writeConfiguration() const;
    void launch();

    std::string directory_;
    std::string address_;
    std::unique_ptr<Child> daemon_;
};
