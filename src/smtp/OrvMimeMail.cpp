#include "smtp/OrvMimeMail.h"

#include "base/OrvFiles.h"
#include "base/OrvPaths.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "mesg/OrvCHMesg.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string_view>

namespace {

using Empty = OrvMailBuffer::Empty;

constexpr char kAttachmentModule[] = "OrvMailAttachment";
constexpr char kCopyModule[] = "OrvMailCopy";
constexpr std::size_t kChunk = 1024;
constexpr std::size_t kChunksARead = 16;
constexpr mode_t kCopyMode = 0666;  // less what the process masks, like every file of this daemon below "/tmp/"

// What opens a readable part of a mail in parts.
constexpr char kTextPartHeader[] = "Content-Type: TEXT/plain; charset=US-ASCII; format=flowed\r\n\r\n";
constexpr char kPreamble[] =
    "This is a multi-part MIME format message.  The first part is\r\n"
    "readable text, while the remaining parts are unreadable without\r\n"
    "MIME-aware tools.\r\n\r\n";

void addCapture(OrvMailBuffer& buffer, const CronCaptureData& capture) {
    buffer.addLabelData(orv_label::kCapture, "Cron", Empty::kForce);
    buffer.addLabelData(orv_label::kDayOfWeek, capture.DayOfWeek, Empty::kForce);
    buffer.addLabelData(orv_label::kTimeOfDay, capture.TimeOfDay, Empty::kForce);
    buffer.addLabelData(orv_label::kInterval, capture.Interval, Empty::kForce);
    buffer.addLabelData(orv_label::kShell, capture.Shell, Empty::kForce);
    buffer.addLabelData(orv_label::kCommand, capture.Command, Empty::kForce);
    buffer.addLabelData(orv_label::kAttachments, std::to_string(capture.Attachments.size()), Empty::kForce);
}

void addReplacement(OrvMailBuffer& buffer, const std::string& name, const char* reason) {
    buffer.append(kTextPartHeader);
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

void addFile(OrvMailBuffer& buffer, const OrvMimeAttachments& attachments, const std::string& path,
             const std::string& name) {
    const Descriptor file = orvOnceMore([&] { return orvOpenFile(path, O_RDONLY); });
    addPartHeader(buffer, name);
    if (!file || addContents(buffer, file.get()) < 0) {
        attachments.parts->resume(buffer, attachments.boundary);
        addReadError(buffer, name);
        orvTrace(kAttachmentModule, __func__, "File %s: bad read!\n", path.c_str());
    }
}

int statAttachment(const std::string& path, struct stat& status) {
    return orvOnceMore([&] { return orvStatFile(path, status); });
}

std::string pathOf(const OrvMimeAttachments& attachments, const std::string& name) {
    return std::string(kOrvAttachmentsDirectory) + "/" + name + "." + attachments.captureId;
}

// As far as their mail may grow.
void makeRoomForAttachments(OrvMailBuffer& buffer, const OrvMimeAttachments& attachments) {
    // A boundary and the headers, which name the file three times, or the explanation in their place.
    constexpr std::uint64_t kPartOverhead = 512;
    std::uint64_t files = 0;
    std::uint64_t overhead = kPartOverhead;
    for (const std::string& name : attachments.names) {
        struct stat status {};
        if (statAttachment(pathOf(attachments, name), status) == 0) {
            files += static_cast<std::uint64_t>(status.st_size);
        }
        overhead += kPartOverhead + 3 * name.size();
    }
    // The limit holds for the files' bytes only.
    buffer.reserve(std::min<std::uint64_t>(buffer.text().size() + files, buffer.limit()) + overhead);
}

// The boundary line and the attachment's part, or what explains that there is none.
void compileAttachment(OrvMailBuffer& buffer, const OrvMimeAttachments& attachments, const std::string& name) {
    const std::string path = pathOf(attachments, name);
    attachments.parts->bound(buffer, attachments.boundary, "");
    struct stat status {};
    if (statAttachment(path, status) < 0) {
        const int error = errno;
        orvTrace(kAttachmentModule, __func__, "%s: %s\n", path.c_str(), orvErrorText(error).c_str());
        addReadError(buffer, name);
        return;
    }
    if (static_cast<std::uint64_t>(status.st_size) + buffer.text().size() >= buffer.limit()) {
        orvTrace(kAttachmentModule, __func__,
                 "%s: Including attachment will cause the email message to exceed the specified limit of %d bytes\n",
                 path.c_str(), static_cast<int>(buffer.limit()));
        addTooLarge(buffer, name);
        return;
    }
    addFile(buffer, attachments, path, name);
}

// Numbered from 1. Kept: a copy is written on every send and never removed. Neither a link in the file's place nor a
// second name of another file leads anywhere.
void orvWriteMailCopy(const std::string& text) {
    static std::atomic<std::uint32_t> copies{0};
    const std::string path = kOrvMailCopyPrefix + std::to_string(++copies);
    const Descriptor file = orvOpenFile(path, O_WRONLY | O_CREAT | O_TRUNC, kCopyMode);
    if (!file || orvWriteAll(file.get(), text.data(), text.size()) < 0) {
        const int error = errno;
        orvTrace(kCopyModule, __func__, "%s: %s\n", path.c_str(), orvErrorText(error).c_str());
    }
}

}  // namespace

const OrvMimeParts kOrvRequiredParts{[](OrvMailBuffer& buffer, const std::string& boundary, const char* behind) {
                                         buffer.append("--" + boundary + behind + "\r\n");
                                     },
                                     [](OrvMailBuffer& /*buffer*/, const std::string& /*boundary*/) {}};

void orvAddMimePreamble(OrvMailBuffer& buffer) {
    buffer.append(kPreamble);
}

void orvAddCaptureText(OrvMailBuffer& buffer, const OrvMailSource& source) {
    orvAddSerialNumber(buffer, source);
    orvAddDuplicateCount(buffer, source);
    orvAddEvent(buffer, source, Empty::kForce);
    addCapture(buffer, *source.message.cronCapture());
}

void orvAddMimeTextPart(OrvMailBuffer& buffer, const OrvMailSource& source) {
    orvAddMimePreamble(buffer);
    kOrvRequiredParts.bound(buffer, source.message.cronCapture()->Boundary, "");
    buffer.append(kTextPartHeader);
    orvAddCaptureText(buffer, source);
}

void orvAddMimeAttachments(OrvMailBuffer& buffer, const OrvMimeAttachments& attachments) {
    makeRoomForAttachments(buffer, attachments);
    for (const std::string& name : attachments.names) {
        // An attachment that cannot be had leaves an explanation in its place; the mail goes out all the same.
        compileAttachment(buffer, attachments, name);
    }
    // Kept: the copy is taken before the closing boundary is added.
    orvWriteMailCopy(buffer.text());
    attachments.parts->bound(buffer, attachments.boundary, "--");
}
