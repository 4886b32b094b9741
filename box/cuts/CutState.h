// What a file system may have on its disk after a power cut: the operations up to some moment, of which up to three
// that nobody has synchronised did not come, came in part, or came out of their order.
#pragma once

#include "box/FileRecord.h"
#include "box/Random.h"
#include "box/cuts/FileTree.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace box {

struct Damage {
    enum Kind : std::uint32_t {
        kMissing,
        kLate,      // it came behind all others
        kUnfilled,  // of a write: the file has grown, its bytes are zeros
        kTorn,      // of a write: some sectors came
        kBothNames  // of a rename: the new name came, the end of the old one did not
    };
    std::size_t operation = 0;
    Kind kind = kMissing;
    std::uint64_t sectors = 0;  // of a torn write: those that came
    bool grown = true;          // of a torn write: the file has its whole length
};

struct CutState {
    static constexpr std::size_t kMostDamages = 3;
    // What a kernel has had for longer it has written unasked: Linux after 30 s, looking each 5 s.
    static constexpr Time kWrittenUnasked = 35 * kSecond;

    std::size_t cut = 0;  // so many operations were made
    std::vector<Damage> damages;
};

using FileOperations = std::vector<FileOperation>;

// Whether it is on the disk for certain: flushed before the cut, or old enough.
bool isSynchronised(const FileOperations& operations, std::size_t operation, std::size_t cut);
// A state with so many damages, fewer where there is too little to damage.
CutState drawState(const FileOperations& operations, std::size_t cut, std::size_t damages, Random& chance);
FileTree treeOf(const FileTree& start, const FileOperations& operations, const CutState& state);
// What was damaged, and how: "an entry's file: write torn".
std::string causeOf(const FileOperation& operation, const Damage& damage);
std::string textOf(const FileOperations& operations, const CutState& state);

}  // namespace box
