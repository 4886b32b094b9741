#include "testing/KeptFormats.h"

#include "testing/TempRoot.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace {

constexpr char kCallHome[] = "/ostrel/conf/orv/callHome";

}  // namespace

std::vector<fs::path> keptFormats() {
    std::vector<fs::path> found;
    for (const fs::directory_entry& version : fs::directory_iterator(FORMATS)) {
        for (const fs::directory_entry& order : fs::directory_iterator(version.path())) {
            found.push_back(order.path());
        }
    }
    // 0.10 is newer than 0.9.
    std::ranges::sort(
        found, [](const fs::path& one, const fs::path& other) { return strverscmp(one.c_str(), other.c_str()) < 0; });
    return found;
}

fs::path newestKeptFormat() {
    return keptFormats().back().parent_path() / ownByteOrder();
}

void putKeptFormat(const TempRoot& root, const fs::path& format) {
    fs::remove_all(root.at(kCallHome));
    fs::create_directories(root.at(kCallHome));
    fs::copy(format, root.at(kCallHome), fs::copy_options::recursive);
}

std::string ownByteOrder() {
    return std::endian::native == std::endian::big ? "big_endian" : "little_endian";
}

void writeFormat(const TempRoot& root, const std::string& name) {
    if (const char* const directory = std::getenv("ORV_WRITE_FORMATS")) {
        const fs::path target = fs::path(directory) / ownByteOrder() / name;
        fs::create_directories(target.parent_path());
        fs::copy(root.at(std::string(kCallHome) + "/" + name), target, fs::copy_options::recursive);
    }
}

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}
