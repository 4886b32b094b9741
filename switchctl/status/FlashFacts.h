// What CallHome's files and programs look like from outside: below HSB_ROOT, by names and times alone.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct FlashFacts {
    std::string directory;              // on this machine
    std::optional<std::uint64_t> free;  // bytes; nothing where the system does not say
    bool readOnly = false;
    // When the oldest message that waits was written, in microseconds since 1970.
    std::optional<std::int64_t> oldestWaiting;
    std::vector<std::string> foreign;  // files in the queues' directories that are none of theirs
    bool supportCommand = true;        // It can be run.
    bool compressor = true;

    static FlashFacts read();
    // Where a path of the switch stands on this machine.
    static std::string onHost(const std::string& path);
    // When the file was written; nothing when there is none.
    static std::optional<std::int64_t> written(const std::string& path);

    static constexpr const char* SUPPORT_COMMAND = "/ostrel/bin/clish";
    static constexpr const char* COMPRESSOR = "/bin/gzip";
};
