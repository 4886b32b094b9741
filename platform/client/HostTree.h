// This process's hold on the switch's file tree. Locks on directories, which leave no file: the system gives them up
// when the process ends, and no program that it starts inherits them. Main thread only.
#pragma once

#include "Descriptor.h"

#include <array>
#include <chrono>
#include <string>

class HostTree {
public:
    // The root, and the directory of all that is kept: two roots may share the one flash.
    static constexpr std::array<const char*, 2> DIRECTORIES = {"/", "/ostrel/conf"};

    // patience: how long another holder has to end; a killed process may still be going.
    explicit HostTree(std::chrono::milliseconds patience = std::chrono::seconds(2)) : patience_(patience) {}

    // Locks each directory below root that is there and not locked yet. 0, or -1 with inUse naming one that another
    // process has locked. One that cannot be locked for any other reason is passed over, once with a word on stderr.
    [[nodiscard]] int hold(const std::string& root, std::string& inUse);

private:
    int lock(const std::string& directory, Descriptor& lock);
    void passOver(const std::string& directory);

    std::chrono::milliseconds patience_;
    std::array<Descriptor, DIRECTORIES.size()> locks_;
    bool told_ = false;
};
