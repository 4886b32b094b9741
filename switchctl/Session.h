// What a command works with: the switch, and where its output goes.
#pragma once

#include "switchctl/Json.h"
#include "switchctl/OperatorClient.h"

#include <ostream>
#include <string>

struct Session {
    OperatorClient& client;
    std::ostream& out;
    std::ostream& err;
    bool json = false;

    // The result of a command: lines for a person, or one JSON value for a program.
    void print(const Json& value, const std::string& lines) const {
        out << (json ? value.dump() + "\n" : lines) << std::flush;
    }
    // A remark that is not the result.
    void note(const std::string& text) const { err << "switchctl: " << text << std::endl; }
};
