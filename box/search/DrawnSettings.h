// What a random history sets attributes to. Any thread.
#pragma once

#include <vector>

namespace box {

struct Setting {
    const char* key;
    std::vector<const char*> values;
};

const std::vector<Setting>& settings();
// Of the second profile's capture.
const std::vector<Setting>& captureSettings();
// Numbers with a sign are numbers, too.
const std::vector<Setting>& oddSettings();

}  // namespace box
