#include "platform/posix/HostRoot.h"

#include "host_root.h"

#include <cstdlib>

namespace {

std::string withoutTrailingSlashes(std::string path) {
    path.erase(path.find_last_not_of('/') + 1);
    return path;
}

std::string& root() {
    static std::string& value = *new std::string([] {
        const char* directory = std::getenv("HSB_ROOT");
        return withoutTrailingSlashes(directory != nullptr ? directory : "");
    }());  // never destroyed: threads may ask while the process ends
    return value;
}

}  // namespace

const std::string& host_root() {
    return root();
}

void setHostRoot(const std::string& directory) {
    root() = withoutTrailingSlashes(directory);
}
