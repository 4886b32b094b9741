#include "smtp/OrvMailCopy.h"

#include "base/OrvFiles.h"
#include "base/OrvPaths.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string_view>

namespace {

constexpr char kTraceModule[] = "OrvMailCopy";
constexpr mode_t kMode = 0666;  // less what the process masks, like every file of this daemon below "/tmp/"

std::atomic<std::uint32_t> copies{0};

int writeAll(int file, std::string_view rest) {
    while (!rest.empty()) {
        const ssize_t written = write(file, rest.data(), rest.size());
        if (written > 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            return -1;
        }
    }
    return 0;
}

}  // namespace

// Kept: a copy is written on every send and never removed.
void orvWriteMailCopy(const std::string& text) {
    const std::string path = kOrvMailCopyPrefix + std::to_string(++copies);
    const Descriptor file = orvOpenFile(path, O_WRONLY | O_CREAT | O_TRUNC, kMode);
    if (!file || writeAll(file.get(), text) < 0) {
        const int error = errno;
        ORV_TRACE("%s: %s\n", path.c_str(), orvErrorText(error).c_str());
    }
}
