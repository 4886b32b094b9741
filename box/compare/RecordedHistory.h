// A random history within what the model knows, and a record of it.
#pragma once

#include "box/Random.h"
#include "box/Script.h"
#include "box/World.h"
#include "box/compare/Record.h"

#include <string>
#include <vector>

namespace box {

class RecordedHistory final : public Script {
public:
    // The world is set up for it: two mail servers, a profile or two. It ends after so many steps.
    RecordedHistory(World& world, std::uint64_t seed, std::uint32_t steps);

    Time next() const override { return next_; }
    void step(Life& life) override;
    void logged(Life& life, const LogEntry& entry) override;
    void clientSteps(Life& life, ClientStep step, std::string_view what, Time at) override;
    void encode(FieldWriter& out) const override;
    void decode(FieldReader& in) override;

    // Since the last time this was asked for.
    std::vector<Record> takeRecords() { return std::move(records_); }

private:
    static void fields(auto& io, auto& history);
    bool isEarly(const Life& life) const;
    void happen(Life& life);
    void event(Life& life);
    void request(Life& life, std::uint16_t code, const std::string& profile);
    void reconfigure(Life& life);
    void changeServers(Life& life);
    void set(Life& life, const std::string& key, const std::string& value);
    void note(Life& life, Happening what, std::uint32_t number, std::string text, std::string value = "");
    Time laterStep(Time now);

    Random random_;
    std::uint32_t stepsLeft_;
    bool oneProfile_;
    Time next_;
    std::vector<Record> records_;
    bool listening_ = false;  // in this life, which began at
    Time began_ = 0;
};

}  // namespace box
