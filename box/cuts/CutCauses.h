// Which damage has cost a mail, or has had one come again.
#pragma once

#include "box/cuts/CutState.h"

#include <string>

namespace box {

class CutCauses {
public:
    // The operations have to outlive it.
    CutCauses(const FileTree& start, const FileOperations& operations, const CutState& state);

    // Of a mail that is owed and does not come; event: its text.
    std::string ofLoss(const std::string& event) const;
    // Of a mail that is not owed.
    std::string ofDouble(const std::string& event) const;
    // Of a mail that reads differently because its entry's file, written over in place with another length, came in
    // part: it mixes two states of one message. "" when that cannot be.
    std::string ofMix() const;

private:
    struct Entry {
        std::string path;
        std::uint32_t file = 0;
    };

    // An entry of the event that one tree has and the other has not, or has otherwise; without a path: none.
    static Entry onlyIn(const FileTree& one, const FileTree& other, const std::string& event);
    std::string of(const Entry& entry) const;

    const FileOperations& operations_;
    const CutState& state_;
    const FileTree whole_;
    const FileTree damaged_;
};

}  // namespace box
