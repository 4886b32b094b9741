// What was done to the daemon, and what was seen of it: a history that a model can be led through afterwards.
#pragma once

#include "box/Times.h"

#include <cstdint>
#include <string>

namespace box {

enum class Happening : std::uint32_t {
    // Done to it.
    kSet,       // an attribute: key, value
    kEvent,     // a log record: text; number is its kind
    kState,     // text
    kHostname,  // text
    kAddress,   // IPv4
    kRequest,   // number is its code; text a profile
    kStop,
    // Between it and a mail server: an address, bytes, how the connection was lost.
    kConnects,
    kConnected,
    kSends,
    kHears,
    kLoses,
    // Seen of it.
    kLogs,     // number is the entry's number; text its level and text
    kResponds  // number is the code; text the payload
};

struct Record {
    Time at = 0;
    Happening what = Happening::kSet;
    std::uint32_t number = 0;
    std::string text;
    std::string value;

    static void fields(auto& io, auto& record) {
        io(record.at, record.what, record.number);
        io.text32(record.text);
        io.text32(record.value);
    }
};

}  // namespace box
