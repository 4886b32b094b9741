#include "smtp/OrvMailAttachment.h"

#include "base/OrvFiles.h"
#include "base/OrvOnceMore.h"
#include "base/OrvPaths.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "smtp/OrvMailLines.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>

namespace {

constexpr char kTraceModule[] = "OrvMailAttachment";
constexpr std::size_t kChunk = 1024;
constexpr std::size_t kChunksARead = 16;

void addReplacement(OrvMailBuffer& buffer, const std::string& name, const char* reason) {
    buffer.append(kOrvTextPartHeader);
    buffer.append("The attachment file:\r\n        ");
    buffer.append(name);
    buffer.append(reason);
}

void addReadError(OrvMailBuffer& buffer, const std::string& name) {
    addReplacement(buffer, name, "\r\ncould not be included due to a read error!\r\n\r\n");
}

void addTooLarge(OrvMailBuffer& buffer, const std::string& name) {
    addReplacement(buffer, name,
                   "\r\ncould not be included or the email message would exceed\r\n"
                   "the maximum specified length\r\n\r\n");
}

void addPartHeader(OrvMailBuffer& buffer, const std::string& name) {
    buffer.append("Content-Type: APPLICATION/x-gzip; filename=" + name + "\r\n");
    buffer.append("Content-Transfer-Encoding: BASE64\r\n");
    buffer.append("Content-Description: " + name + "\r\n");
    buffer.append("Content-Disposition: attachment; filename=" + name + "\r\n\r\n");
}

// A file's bytes count as texts of a chunk each: what stands behind a zero byte in a chunk is left out.
void addChunks(OrvMailBuffer& buffer, std::string_view bytes) {
    while (!bytes.empty()) {
        const std::string_view chunk = bytes.substr(0, kChunk);
        buffer.append(chunk.substr(0, chunk.find('\0')));
        bytes.remove_prefix(chunk.size());
    }
}

// 0 at the file's end, -1 when a read fails.
int addContents(OrvMailBuffer& buffer, int file) {
    std::array<char, kChunksARead * kChunk> bytes;
    for (;;) {
        const ssize_t got = orvOnceMore([&] { return read(file, bytes.data(), bytes.size()); });
        if (got == 0) {
            return 0;
        }
        if (got > 0) {
            addChunks(buffer, {bytes.data(), static_cast<std::size_t>(got)});
        } else if (errno != EINTR) {
            return -1;
        }
    }
}

int addFile(OrvMailBuffer& buffer, const std::string& path, const std::string& name) {
    const Descriptor file = orvOnceMore([&] { return orvOpenFile(path, O_RDONLY); });
    addPartHeader(buffer, name);
    if (!file || addContents(buffer, file.get()) < 0) {
        addReadError(buffer, name);
        ORV_TRACE("File %s: bad read!\n", path.c_str());
        return -1;
    }
    return 0;
}

int statAttachment(const std::string& path, struct stat& status) {
    return orvOnceMore([&] { return orvStatFile(path, status); });
}

std::string pathOf(const std::string& name, const std::string& captureId) {
    return std::string(kOrvAttachmentsDirectory) + "/" + name + "." + captureId;
}

}  // namespace

void orvMakeRoomForAttachments(OrvMailBuffer& buffer, const std::vector<std::string>& names,
                               const std::string& captureId) {
    // A boundary and the headers, which name the file three times, or the explanation in their place.
    constexpr std::uint64_t kPartOverhead = 512;
    std::uint64_t files = 0;
    std::uint64_t overhead = kPartOverhead;
    for (const std::string& name : names) {
        struct stat status {};
        if (statAttachment(pathOf(name, captureId), status) == 0) {
            files += static_cast<std::uint64_t>(status.st_size);
        }
        overhead += kPartOverhead + 3 * name.size();
    }
    // The limit holds for the files' bytes only.
    buffer.reserve(std::min<std::uint64_t>(buffer.text().size() + files, buffer.limit()) + overhead);
}

int compileAttachment(OrvMailBuffer& buffer, const std::string& boundary, const std::string& name,
                      const std::string& captureId) {
    const std::string path = pathOf(name, captureId);
    buffer.append("--" + boundary + "\r\n");
    struct stat status {};
    if (statAttachment(path, status) < 0) {
        const int error = errno;
        ORV_TRACE("%s: %s\n", path.c_str(), orvErrorText(error).c_str());
        addReadError(buffer, name);
        return -1;
    }
    if (static_cast<std::uint64_t>(status.st_size) + buffer.text().size() >= buffer.limit()) {
        ORV_TRACE("%s: Including attachment will cause the email message to exceed the specified limit of %d bytes\n",
                  path.c_str(), static_cast<int>(buffer.limit()));
        addTooLarge(buffer, name);
        return -1;
    }
    return addFile(buffer, path, name);
}
