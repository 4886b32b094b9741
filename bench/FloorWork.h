// The floor that the daemon is measured against: the same system calls for the same work, and nothing else.
//
// All of it ends the program with a message when the system refuses something: a figure from a failed run is none.
#pragma once

#include "Descriptor.h"

#include <array>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

// What a floor does beside the bare work.
enum class FloorCare {
    // Nothing: files are opened however their paths lead, the trace is one file, connecting takes as long as it takes.
    kBare,
    // What is required of the daemon: files and directories are reached through no link, and written to only with one
    // name; a trace has six generations of about 20 KB; connections and replies have limits.
    kRequired,
};

// One write a line; the date is composed when the second changes.
class FloorTrace {
public:
    FloorTrace(const std::string& path, FloorCare care);

    void line(const char* text);
    void lines(unsigned count);
    // A mail's text as one line, without a copy.
    void text(std::string_view text);

private:
    std::string prefix();
    void begin();
    void wrote(std::size_t bytes);
    void turnOver();

    const FloorCare care_;
    std::array<std::string, 6> paths_;
    std::size_t size_ = 0;
    Descriptor fd_;
    std::time_t second_ = -1;
    char date_[32] = "";
};

// The files of a queue: one a message, and one with their order, written whole and cut to its length.
class FloorQueue {
public:
    // The order file lists as many messages as are waiting, whether or not they have files.
    FloorQueue(std::string directory, unsigned waiting, FloorCare care);

    // Makes the files of so many messages that wait.
    void stage(unsigned messages) const;

    // The two file writes of an admitted message and the order file's.
    void admit(unsigned number);
    // The order file's write and the removal of the message's file, if it has one.
    void remove(unsigned number);

private:
    std::string pathOf(unsigned number) const { return directory_ + "/m" + std::to_string(number); }
    void writeOrder(bool shorter) const;

    const FloorCare care_;
    std::string directory_;
    std::vector<std::uint32_t> order_;
};

// One mail to one recipient of a server on 127.0.0.1, in a connection of its own.
void floorSendMail(std::uint16_t port, std::string_view text, FloorCare care);

// Leaves the text in a file for the next function to send.
void floorStageLargeMail(const std::string& directory, std::string_view text);
// The same with that text: read after the server has asked for it, copied to a file, and traced.
void floorSendLargeMail(std::uint16_t port, const std::string& directory, FloorTrace& trace, FloorCare care);
