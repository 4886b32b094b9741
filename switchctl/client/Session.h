// What a command works with: the switch, and where its output goes.
#pragma once

#include "switchctl/client/OperatorClient.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Json.h"
#include "switchctl/text/Text.h"

#include <cerrno>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

struct Session {
    // Of every JSON object. Counts up when a key goes or changes its meaning; a new key does not count.
    static constexpr std::int32_t SCHEMA = 1;

    OperatorClient& client;
    std::ostream& out;
    std::ostream& err;
    bool json = false;
    bool printed = false;  // The command's JSON object is out.
    // Runs a command line of its own on the same switch, on the thread of this session; its exit status. It may take
    // the client's connection: who runs lines does not call the client itself.
    using Line = std::function<int(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)>;
    Line line{};

    // All output goes through this. Throws CannotWrite.
    void write(const std::string& text) const {
        errno = 0;
        out << text << std::flush;
        if (!out) {
            throw CannotWrite(errno);
        }
    }
    // The result of a command: lines for a person, or one JSON object for a program.
    void print(const Json& value, const std::string& lines) {
        printed = printed || json;
        write(json ? Json(value).set("schema", SCHEMA).dump() + "\n" : lines);
    }
    // How far the command has come; programs are not told.
    void progress(const std::string& lines) const {
        if (!json) {
            write(lines);
        }
    }
    // A remark that is not the result. On one line, whatever of somebody's text it repeats.
    void note(const std::string& text) const { err << "switchctl: " << Text::oneLine(text) << std::endl; }
};
