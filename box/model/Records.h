// What goes in and out of the model: time, attributes, event log, responses, and the next step on the wire.
//
// Plain data.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace model {

// Both clocks of the switch. The calendar is UTC.
struct Now {
    std::uint32_t uptime = 0;  // seconds since boot
    std::int64_t seconds = 0;  // since 1970
    std::uint32_t microseconds = 0;
};

using Attributes = std::map<std::string, std::string>;

struct LogEntry {
    int level = 0;
    std::uint32_t number = 0;
    std::string text;
    bool operator==(const LogEntry&) const = default;
};

// A response to the management component, byte by byte; also the result of a test.
struct Response {
    std::uint16_t code = 0;
    std::string payload;
    bool operator==(const Response&) const = default;
};

struct AttributeWrite {
    std::string key;
    std::string value;
    bool operator==(const AttributeWrite&) const = default;
};

// How a mail server is given: kind 1 is an IPv4, 2 an IPv6 address, 3 a host name.
struct Server {
    unsigned kind = 1;
    std::string address = "0.0.0.0";
    std::string stored = "00000000";  // as the switch keeps it
    std::uint32_t port = 0;
    bool enabled = false;

    bool valid() const { return enabled && address != "0.0.0.0"; }
};

// What the daemon does next with its mail server.
struct WireStep {
    enum Kind { kNothing, kConnect, kSpeak };
    Kind kind = kNothing;
    Server server;       // kConnect
    std::string bytes;   // kSpeak: sent before the reply is awaited; none before the greeting
    unsigned limit = 0;  // seconds until silence counts as a lost connection
};

// Everything outside that the daemon's parts see and tell.
struct Outside {
    Now now;
    Attributes attributes;
    std::map<std::string, std::string> names;  // what the resolver knows: host names and their canonical names
    std::vector<LogEntry> log;
    std::vector<Response> responses;
    std::vector<AttributeWrite> writes;

    void tell(int level, std::uint32_t number, std::string text) { log.push_back({level, number, std::move(text)}); }
    void write(const std::string& key, const std::string& value);
    void respond(std::uint16_t code, std::string payload) { responses.push_back({code, std::move(payload)}); }
};

// The number of entries that have none of their own.
constexpr std::uint32_t kPlain = 0x8b000001;
// The sender address of a switch on which none was configured.
constexpr const char* kUndefined = "<undefined>";

[[gnu::format(printf, 1, 2)]] std::string printed(const char* format, ...);
// As the switch's 32 bits read numbers: blanks, a sign, digits, whatever follows. No digits: 0.
std::uint32_t toUnsigned(std::string_view text, bool* outOfRange = nullptr);
std::int32_t toSigned(std::string_view text);

// Fields of a payload: words of 32 bits, higher byte first, and texts in slots that end with a NUL.
std::string word(std::uint32_t value);
std::string slot(std::string_view text, std::size_t size);

// The three ways in which times are written: in messages, in messages of the switch's log, and in mails.
std::string plainTime(const Now& now);
std::string recordTime(std::int64_t seconds, std::uint32_t microseconds);
std::string mailTime(const Now& now);

}  // namespace model
