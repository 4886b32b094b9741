// A random history of which all changes of files are kept.
#pragma once

#include "box/FileRecord.h"
#include "box/search/RandomHistory.h"

#include <cstdint>
#include <string>
#include <vector>

namespace box {

class RecordingHistory final : public RandomHistory {
public:
    // A time in which much happens; root: where the files are.
    RecordingHistory(std::uint64_t seed, Time length, World& world, const std::string& root);

    FileRecord* record() override { return &record_; }
    void encode(FieldWriter& out) const override;
    void decode(FieldReader& in) override;

    const std::vector<FileOperation>& operations() const { return record_.operations(); }

private:
    FileRecord record_;
};

}  // namespace box
