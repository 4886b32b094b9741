// A fuzz target: takes any bytes at all where the daemon would read a file, a socket, the bus or the attribute store.
//
// It must come back, whatever they are, and what it promises is told by GoogleTest's expectations. Its seeds are real
// encodings; they stand in fuzz/corpus/<name>/, beside what was added by hand or was once found.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orv_fuzz {

using Bytes = std::span<const std::uint8_t>;

struct Seed {
    std::string name;
    std::string bytes;
};

struct Target {
    const char* name;
    void (*run)(Bytes data);
    std::vector<Seed> (*seeds)();
};

std::span<const Target> targets();

// Each in a file of its own.
extern const Target kMessageFile;
extern const Target kOrderFile;
extern const Target kSmtpReply;
extern const Target kAttributes;
extern const Target kBusPayload;
extern const Target kStandbyRecord;
extern const Target kBase64;
extern const Target kTimes;
extern const Target kLogRecord;

inline std::string textOf(Bytes data) {
    return {data.begin(), data.end()};
}
inline Bytes bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace orv_fuzz
