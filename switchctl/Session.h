// What a command works with: the switch, and where its output goes.
#pragma once

#include "switchctl/Json.h"
#include "switchctl/OperatorClient.h"
#include "switchctl/Text.h"

#include <ostream>
#include <string>

struct Session {
    OperatorClient& client;
    std::ostream& out;
    std::ostream& err;
    bool json = false;
    bool printed = false;  // The command's JSON object is out.

    // The result of a command: lines for a person, or one JSON object for a program.
    void print(const Json& value, const std::string& lines) {
        printed = printed || json;
        out << (json ? value.dump() + "\n" : lines) << std::flush;
    }
    // How far the command has come; programs are not told.
    void progress(const std::string& lines) const {
        if (!json) {
            out << lines << std::flush;
        }
    }
    // A remark that is not the result. On one line, whatever of somebody's text it repeats.
    void note(const std::string& text) const { err << "switchctl: " << Text::oneLine(text) << std::endl; }
};
