#include "switchctl/ProbeTrace.h"

#include <sys/stat.h>

#include <fstream>
#include <iterator>

namespace {

constexpr const char* PROBE_ENTRY = " OrvCallHome probe: Entry";

bool readFrom(const std::string& file, off_t offset, std::string& text) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream.seekg(offset)) {
        return false;
    }
    text.append(std::istreambuf_iterator<char>(stream), {});
    return !stream.bad();
}

}  // namespace

std::string ProbeTrace::generation(int number) const {
    return number == 0 ? file_ : file_ + "." + std::to_string(number);
}

void ProbeTrace::mark() {
    struct stat status {};
    marked_ = stat(file_.c_str(), &status) == 0;
    inode_ = status.st_ino;
    size_ = status.st_size;
}

int ProbeTrace::readSince(std::string& text) const {
    int oldest = GENERATIONS;
    off_t offset = 0;
    for (int number = 0; number <= GENERATIONS; ++number) {
        struct stat status {};
        const bool exists = stat(generation(number).c_str(), &status) == 0;
        if (exists && marked_ && status.st_ino == inode_ && status.st_size >= size_) {
            oldest = number;
            offset = size_;
            break;
        }
        if (!exists) {
            oldest = number - 1;
            break;
        }
    }
    std::string result;
    for (int number = oldest; number >= 0; --number) {
        if (!readFrom(generation(number), number == oldest ? offset : 0, result)) {
            return -1;
        }
    }
    if (oldest < 0) {
        return -1;
    }
    text = result;
    return 0;
}

std::string ProbeTrace::fromProbe(const std::string& text) {
    const std::size_t entry = text.find(PROBE_ENTRY);
    if (entry == std::string::npos) {
        return text;
    }
    const std::size_t lineFeed = text.rfind('\n', entry);
    return text.substr(lineFeed == std::string::npos ? 0 : lineFeed + 1);
}
