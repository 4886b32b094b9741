#include "sync/OrvSyncPri.h"

#include "Descriptor.h"
#include "base/OrvPaths.h"
#include "base/OrvSocketLimits.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "sync/OrvSyncRecord.h"
#include "word_order.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <limits>
#include <vector>

namespace {

constexpr char kTraceModule[] = "OrvSyncPri";
constexpr int kConnectAttempts = 3;

void pauseOneSecond() {
    for (unsigned left = 1; left > 0;) {
        left = sleep(left);
    }
}

// The file's bytes come right behind the record of a copy: they share its packet.
int flagsFor(const OrvSyncRecord& record) {
    return record.operation == OrvSyncRecord::kCopyFile && record.size > 0 ? MSG_MORE : 0;
}

}  // namespace

OrvSyncPri::OrvSyncPri(const OrvSyncSettings& settings) : settings_(settings) {
}

int OrvSyncPri::startConnection() {
    endConnection();
    connected_ = false;
    reply_ = 0;
    error_ = 0;
    peer_ = {};
    peer_.sin_family = AF_INET;
    peer_.sin_port = htons(settings_.port);
    peer_.sin_addr.s_addr = htonl(settings_.address);
    socket_.take(Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)));
    if (socket_.descriptor() < 0) {
        return failed(__func__, "socket", errno);
    }
    socket_.prepare(settings_.limit);
    int attempts = 0;
    while (connectPeer() < 0) {
        const int error = errno;
        ORV_TRACE("connect failed: port = %#x, addr = %#x\n", static_cast<unsigned>(settings_.port),
                  static_cast<unsigned>(settings_.address));
        failed(__func__, "connect", error);
        if (error != ECONNREFUSED) {
            ORV_TRACE("Will not retry connect attempt %d\n", attempts);
            return -1;
        }
        if (++attempts >= kConnectAttempts) {
            return -1;
        }
        pauseOneSecond();
        ORV_TRACE("Retry connect attempt %d\n", attempts);
    }
    connected_ = true;
    return 0;
}

// 0, or -1 with errno. After a signal the connect goes on by itself. A second one tells what became of it, and leaves
// the socket fit for another attempt when it was refused: asking the socket for its error would not.
int OrvSyncPri::connectPeer() {
    const auto attempt = [this] {
        return connect(socket_.descriptor(), reinterpret_cast<const sockaddr*>(&peer_), sizeof peer_);
    };
    int result = attempt();
    if (result < 0 && errno == EINTR) {
        result = orvAwaitConnectionEnd(socket_.descriptor(), settings_.limit) < 0 ? -1 : attempt();
        if (result < 0 && errno == EISCONN) {
            result = 0;
        }
    }
    if (result < 0 && errno == EINPROGRESS) {  // the limit passed
        errno = ETIMEDOUT;
    }
    return result;
}

void OrvSyncPri::endConnection() {
    socket_.end();
}

int OrvSyncPri::sendOp(const OrvSyncRecord& record) {
    const std::vector<std::uint8_t> bytes = record.encode();
    std::span<const std::uint8_t> rest = bytes;
    while (!rest.empty()) {
        ORV_TRACE("length = %d\n", static_cast<int>(rest.size()));
        const ssize_t sent = socket_.send(rest, flagsFor(record));
        if (sent < 0) {
            const int error = errno;
            failed(__func__, "send", error);
            return -error;
        }
        rest = rest.subspan(static_cast<std::size_t>(sent));
    }
    return 0;
}

int OrvSyncPri::sendFile(const std::string& path, std::int32_t size) {
    // A FIFO without a writer is no reason to wait: it has nothing to send.
    const std::string hostPath = orvHostPath(path);  // freed after errno has been looked at
    const Descriptor file(open(hostPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file) {
        return failed(__func__, "open", errno);
    }
    ORV_TRACE("Entry (%s, %d)\n", path.c_str(), size);
    for (std::int32_t left = size; left > 0;) {
        const ssize_t sent = socket_.sendFile(file.get(), static_cast<std::size_t>(left));
        if (sent <= 0) {
            return failed(__func__, "sendfile", sent < 0 ? errno : EPIPE);
        }
        left -= static_cast<std::int32_t>(sent);
    }
    return 0;
}

int OrvSyncPri::sendCpFile(const std::string& path, const std::string& name) {
    struct stat status {};
    const std::string hostPath = orvHostPath(path);  // freed after errno has been looked at
    if (stat(hostPath.c_str(), &status) < 0) {
        return failed(__func__, "stat", errno);
    }
    // What a stat with 32-bit sizes says; a size cut to 32 bits would pass a part of the file off as the whole.
    if (status.st_size > std::numeric_limits<std::int32_t>::max()) {
        return failed(__func__, "stat", EOVERFLOW);
    }
    const auto size = static_cast<std::int32_t>(status.st_size);
    const int result = sendOp({.operation = OrvSyncRecord::kCopyFile, .path = name, .size = size});
    return result < 0 ? result : sendFile(path, size);
}

int OrvSyncPri::sendRmFile(const std::string& path) {
    return sendOp({.operation = OrvSyncRecord::kRemoveFile, .path = path});
}

int OrvSyncPri::sendMkDir(const std::string& path) {
    return sendOp({.operation = OrvSyncRecord::kMakeDirectory, .path = path});
}

int OrvSyncPri::sendMvDir(const std::string& source, const std::string& destination) {
    return sendOp({.operation = OrvSyncRecord::kMoveDirectory, .path = source, .destination = destination});
}

int OrvSyncPri::sendRmDir(const std::string& path) {
    return sendOp({.operation = OrvSyncRecord::kRemoveDirectory, .path = path});
}

int OrvSyncPri::recvResponse() {
    reply_ = 0;
    replyBytes_ = 0;
    std::array<std::uint8_t, 4> word{};
    const ssize_t got = socket_.receive(word);
    if (got < 0) {
        const int error = errno;
        if (connected_) {
            connected_ = false;
            failed(__func__, "recv", error);
        }
        return -1;
    }
    reply_ = bigEndian32(word);
    replyBytes_ = static_cast<std::size_t>(got);
    return 0;
}

// Records and traces; errno must have been read before. Always -1.
int OrvSyncPri::failed(const char* function, const char* call, int error) {
    error_ = error;
    orvTrace(kTraceModule, function, "%s: %s\n", call, orvErrorText(error).c_str());
    return -1;
}
