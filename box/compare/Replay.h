// Leads the model through a recorded life and tells where the daemon has done something else.
#pragma once

#include "box/Box.h"
#include "box/World.h"
#include "box/compare/Record.h"
#include "box/model/Model.h"

#include <string>
#include <vector>

namespace box {

class Replay {
public:
    explicit Replay(const World& world);

    // One life, which ended at a time in a way and left files below root and attributes in the world. Empty, or what
    // differs.
    std::string life(Time begin, std::vector<Record> records, LifeEnd how, const World& after, const std::string& root);
    // Two things happened at once, so that either order is right: what comes after is not compared.
    bool tied() const { return tied_; }
    std::uint64_t compared() const { return compared_; }

private:
    bool inTick(Time at) const;
    void advance(Time to);
    void tick();
    void apply(const Record& record);
    void request(const Record& record);
    void heard(const Record& record);
    void lost(const Record& record);
    void compareSaid(Time at);
    std::string compareSeen(const std::vector<Record>& records);
    std::string compareLeft(const World& after, const std::string& root);
    void noteSeen(Time at);
    std::string before(const std::vector<Record>& records) const;
    void differ(Time at, const std::string& expected, const std::string& got);

    model::Model model_;
    Time nextTick_ = 0;
    Time said_ = 0;             // when the step under way began
    std::string sent_;          // by the daemon since the last reply
    std::vector<Record> seen_;  // of the model
    std::string problem_;
    Time differs_ = 0;
    Time stopped_ = kNever;  // told to end
    bool tied_ = false;
    std::uint64_t compared_ = 0;
};

}  // namespace box
