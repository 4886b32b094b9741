// Test support: what the command line says to a value that it does not take.
#pragma once

#include "switchctl/text/Errors.h"

#include <functional>
#include <string>

// What the check says; empty when it takes the value.
inline std::string refusal(const std::function<void()>& check) {
    try {
        check();
        return "";
    } catch (const UsageError& error) {
        return error.what();
    }
}
