#include "box/search/Growth.h"

#include <algorithm>

namespace box {

std::string Growth::ofDescriptors(unsigned open) {
    constexpr unsigned kMost = 64;
    return open > kMost ? std::to_string(open) + " descriptors are open" : "";
}

std::string Growth::ofFiles(unsigned there) {
    constexpr unsigned kMost = 400;
    return there > kMost ? std::to_string(there) + " files are there" : "";
}

std::string Growth::ofObjectsAtRest(long objects) {
    constexpr unsigned kFirst = 5;
    constexpr long kSlack = 50;
    if (++rests_ <= kFirst) {
        most_ = std::max(most_, objects);
        return "";
    }
    return objects > most_ + kSlack ? std::to_string(objects) + " objects, " + std::to_string(most_) + " before" : "";
}

}  // namespace box
