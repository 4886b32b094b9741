// Lives of the daemon, one after the other, each in a process of its own, over one world and one file tree.
#pragma once

#include "box/Box.h"
#include "box/Script.h"
#include "box/World.h"

#include <string>

namespace box {

struct LifeOutcome {
    bool told = false;  // it has come to an end of its own; else a signal has ended it, or nobody heard from it
    LifeEnd how = LifeEnd::kEnded;
    int status = 0;
    std::string why;

    // The world may go on with another life.
    bool mayGoOn() const {
        return told && how != LifeEnd::kPaused && how != LifeEnd::kStuck && how != LifeEnd::kUnowned;
    }
};

// One life; world and script stand afterwards as it has left them, if it told. The process has one thread.
// patience: of real time without a call of its, in milliseconds; then it hangs, in what the box does not know.
LifeOutcome live(World& world, Script& script, const std::string& root, int patience = 20000);
// Lives until the script is over or one cannot go on. The last one's outcome.
LifeOutcome liveOn(World& world, Script& script, const std::string& root);

}  // namespace box
