// What the active side asks the standby to repeat, and the 516 bytes that say so on the wire.
//
//   0  u32       operation
//   4  256 bytes path, NUL-terminated: at most 255 characters travel
// 260  i32       copy: the size of the file whose bytes follow
// 260  256 bytes move: where to, NUL-terminated
//
// Big-endian; what is not used is zero. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

struct OrvSyncRecord {
    enum Operation : std::uint32_t {
        kRemoveFile = 0,
        kCopyFile = 1,
        kMakeDirectory = 2,
        kMoveDirectory = 3,
        kRemoveDirectory = 4,
    };
    static constexpr std::size_t kBytes = 516;
    static constexpr std::size_t kPathField = 256;

    std::uint32_t operation = kRemoveFile;  // as on the wire: perhaps none of the above
    std::string path;
    std::string destination = {};  // of a move
    std::int32_t size = 0;         // of a copy

    // Longer paths are cut.
    std::vector<std::uint8_t> encode() const;
    // A path ends at its first NUL, at the latest before the last byte of its field, whatever stands there.
    static OrvSyncRecord decode(std::span<const std::uint8_t, kBytes> bytes);

    friend bool operator==(const OrvSyncRecord&, const OrvSyncRecord&) = default;
};
