#include "testing/TempRoot.h"

#include "host_root.h"
#include "platform/posix/HostRoot.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace {

namespace fs = std::filesystem;

std::string makeDirectory() {
    std::string pattern = fs::temp_directory_path().string() + "/orv-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), pattern);
    }
    return pattern;
}

}  // namespace

TempRoot::TempRoot() : former_(host_root()), path_(makeDirectory()) {
    fs::create_directories(at("/ostrel/conf"));
    fs::create_directories(at("/tmp"));
    setHostRoot(path_);
}

TempRoot::~TempRoot() {
    setHostRoot(former_);
    std::error_code ignored;  // a test may have taken rights away; what is left is in the temporary directory
    fs::remove_all(path_, ignored);
}

std::string TempRoot::read(const std::string& switchPath) const {
    std::ostringstream bytes;
    std::ifstream file(at(switchPath), std::ios::binary);
    bytes << file.rdbuf();
    return bytes.str();
}

void TempRoot::write(const std::string& switchPath, const std::string& bytes) const {
    const fs::path file = at(switchPath);
    fs::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary);
    stream << bytes;
    stream.close();
    if (!stream) {
        throw std::system_error(errno, std::generic_category(), file.string());
    }
}

bool TempRoot::exists(const std::string& switchPath) const {
    return fs::exists(at(switchPath));
}

std::vector<std::string> TempRoot::list(const std::string& switchPath) const {
    std::vector<std::string> names;
    std::error_code missing;
    for (const fs::directory_entry& entry : fs::directory_iterator(at(switchPath), missing)) {
        names.push_back(entry.path().filename().string());
    }
    std::ranges::sort(names);
    return names;
}

std::vector<std::string> TempRoot::trace(const std::string& logger) const {
    std::vector<std::string> lines;
    std::istringstream text(read("/tmp/" + logger));
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}
