#include "box/model/Flash.h"

#include <algorithm>

namespace model {

std::vector<std::string> Flash::entriesIn(const std::string& directory) const {
    std::vector<std::string> names;
    for (const auto& [path, file] : files) {
        if (path.starts_with(directory + "/m")) {
            names.push_back(path.substr(directory.size() + 1));
        }
    }
    std::stable_sort(names.begin(), names.end(), [&](const std::string& one, const std::string& other) {
        return files.at(directory + "/" + one).written > files.at(directory + "/" + other).written;
    });
    return names;
}

}  // namespace model
