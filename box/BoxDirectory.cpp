#include "box/BoxDirectory.h"

#include "box/Timeline.h"

#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace box {

namespace {

namespace fs = std::filesystem;

// Where a Linux keeps files in memory.
constexpr char kMemory[] = "/dev/shm";
constexpr long kMemoryType = 0x01021994;

bool isInMemory(const std::string& path) {
    struct statfs status {};
    return ::statfs(path.c_str(), &status) == 0 && static_cast<long>(status.f_type) == kMemoryType;
}

std::string makeDirectory() {
    std::string pattern = std::string(kMemory) + "/orvBox-XXXXXX";
    if (!isInMemory(kMemory) || ::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error(std::string("no file system in memory at ") + kMemory);
    }
    return pattern;
}

}  // namespace

BoxDirectory::BoxDirectory(const std::string& given)
    : path_(given.empty() ? makeDirectory() : given), isOurs_(given.empty()) {
    std::error_code error;
    if (!fs::is_directory(path_, error)) {
        throw std::runtime_error(path_ + " is no directory");
    }
    if (!fs::is_empty(path_, error) || error) {
        throw std::runtime_error(path_ + " is not empty");
    }
    if (!isInMemory(path_)) {
        throw std::runtime_error(path_ + " is not on a file system in memory");
    }
    fs::create_directories(path_ + "/ostrel/conf");
    fs::create_directories(path_ + "/tmp");
}

BoxDirectory::~BoxDirectory() {
    std::error_code ignored;
    if (isOurs_) {
        fs::remove_all(path_, ignored);
    }
}

std::uint64_t BoxDirectory::digest() const {
    std::vector<fs::path> files;
    for (const auto& each : fs::recursive_directory_iterator(path_)) {
        if (each.is_regular_file()) {
            files.push_back(each.path());
        }
    }
    std::ranges::sort(files);
    Timeline all;
    for (const fs::path& file : files) {
        std::ostringstream bytes;
        bytes << std::ifstream(file, std::ios::binary).rdbuf();
        all.take(file.string().substr(path_.size()));
        all.takeTraces(bytes.str());
    }
    return all.digest();
}

}  // namespace box
