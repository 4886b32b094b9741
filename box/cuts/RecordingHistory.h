// A random history of which all changes of files are kept.
#pragma once

#include "box/FileRecord.h"
#include "box/Script.h"
#include "box/search/RandomHistory.h"

#include <cstdint>
#include <string>
#include <vector>

namespace box {

class RecordingHistory final : public Script {
public:
    // A time in which much happens; root: where the files are.
    RecordingHistory(std::uint64_t seed, Time length, World& world, const std::string& root);

    Time next() const override { return history_.next(); }
    void step(Life& life) override { history_.step(life); }
    std::uint64_t killAtCall() override { return history_.killAtCall(); }
    FileRecord* record() override { return &record_; }
    void mailTaken(Life& life, const MailServer& server, const Mail& mail) override {
        history_.mailTaken(life, server, mail);
    }
    void logged(Life& life, const LogEntry& entry) override { history_.logged(life, entry); }
    void mainWaits(Life& life, const char* call) override { history_.mainWaits(life, call); }
    void encode(WireWriter& out) const override;
    void decode(WireReader& in) override;

    const std::vector<FileOperation>& operations() const { return record_.operations(); }
    const std::string& problem() const { return history_.problem(); }

private:
    RandomHistory history_;
    FileRecord record_;
};

}  // namespace box
