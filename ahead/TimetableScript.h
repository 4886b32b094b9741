// A timetable, played to the daemon in a box.
#pragma once

#include "ahead/wire/Timetable.h"
#include "box/Script.h"

#include <string>

namespace ahead {

class TimetableScript final : public box::Script {
public:
    explicit TimetableScript(const Timetable& table) : table_(table) {}

    box::Time next() const override;
    void step(box::Life& life) override;
    void mailTaken(box::Life& life, const box::MailServer& server, const box::Mail& mail) override;
    void logged(box::Life& life, const LogEntry& entry) override;
    void written(box::Life& life, std::string_view text) override;
    void clientSteps(box::Life& life, box::ClientStep step, std::string_view what, box::Time at) override;
    void encode(FieldWriter& out) const override;
    void decode(FieldReader& in) override;

    Outcome& outcome() { return outcome_; }

private:
    static void fields(auto& io, auto& script);
    void act(box::Life& life, const Step& step);

    const Timetable& table_;
    std::uint32_t done_ = 0;  // steps
    bool over_ = false;
    Outcome outcome_;
};

}  // namespace ahead
