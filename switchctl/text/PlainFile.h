// A file that somebody else writes, as it stands: read only when it is a regular one, without following a link or
// waiting for the other end of a pipe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct PlainFile {
    std::string bytes;
    std::uint64_t size = 0;    // also where it is larger than what was read of it
    std::int64_t written = 0;  // microseconds since 1970

    // At most so many bytes of it. 0, or -1 with errno: EINVAL for what is no file.
    [[nodiscard]] static int read(const std::string& path, std::size_t limit, PlainFile& file);
    // A new file with these bytes, for its owner alone; what is there already is left alone. 0, or -1 with errno.
    [[nodiscard]] static int create(const std::string& path, const std::string& bytes);
};
