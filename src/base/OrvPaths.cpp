#include "base/OrvPaths.h"

#include "host_root.h"

std::string orvHostPath(std::string_view path) {
    std::string hostPath = host_root();
    hostPath.append(path);
    return hostPath;
}
