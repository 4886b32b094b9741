// The listener, the session and the records.
#include "sync/OrvSyncSec.h"

#include "base/OrvPaths.h"
#include "dbg/OrvDbg.h"
#include "sync/OrvSyncRecord.h"
#include "word_order.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace {

constexpr char kTraceModule[] = "OrvSyncSec";
constexpr char kThreadName[] = "orv.out.MesgQSyncSec";
constexpr int kOrdinaryPriority = 0;
constexpr int kBacklog = 5;
// Part of the protocol, whatever this machine calls it.
constexpr int kUnknownOperation = 84;
// Kept: the message names this directory, which is not the one that was cleaned.
// See OrvSyncSecStart.namesTheMisspelledDirectoryWhenThereIsNoneToClean.
constexpr char kMisspelledSyncDirectory[] = "/ostreel/conf/orv/callHome/sync";

}  // namespace

OrvSyncSec::OrvSyncSec(const OrvSyncSettings& settings)
    : OrvThread(kOrdinaryPriority, kThreadName), settings_(settings) {
    if (files_.cleandir(kOrvSyncDirectory) < 0) {
        ORV_TRACE("cleandir(%s): directory not cleaned, probably didn't exist\n", kMisspelledSyncDirectory);
    }
}

int OrvSyncSec::runThread() {
    running_ = true;
    ORV_TRACE("Terminating\n");
    return 0;
}

void OrvSyncSec::handleThreadMesg(OrvToThreadMesg* mesg) {
    OrvThread::handleThreadMesg(mesg);
}

void OrvSyncSec::handleMainMesg(OrvToMainMesg* mesg) {
    if (!handleSwLogApp(mesg)) {
        OrvThread::handleMainMesg(mesg);
    }
}

int OrvSyncSec::startConnection() {
    endConnection();
    last_.number = 0;
    local_ = {};
    local_.sin_family = AF_INET;
    local_.sin_port = htons(settings_.port);
    local_.sin_addr.s_addr = htonl(settings_.address);
    listener_.take(Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)));
    if (listener_.descriptor() < 0) {
        return last_.failed(__func__, "socket", errno);
    }
    // A session that this end has closed lingers in the kernel for a minute; it must not keep the next start away.
    const int on = 1;
    setsockopt(listener_.descriptor(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    socklen_t size = sizeof local_;
    if (bind(listener_.descriptor(), reinterpret_cast<const sockaddr*>(&local_), size) < 0) {
        return last_.failed(__func__, "bind", errno);
    }
    if (settings_.port == 0) {
        getsockname(listener_.descriptor(), reinterpret_cast<sockaddr*>(&local_), &size);
    }
    listening_ = true;
    return 0;
}

int OrvSyncSec::listenConnection() {
    return listen(listener_.descriptor(), kBacklog) < 0 ? last_.failed(__func__, "listen", errno) : 0;
}

void OrvSyncSec::endConnection() {
    listener_.end();
}

int OrvSyncSec::startSession() {
    Descriptor session;
    do {
        session = Descriptor(accept4(listener_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
    } while (!session && errno == EINTR);
    if (!session) {
        return last_.failed(__func__, "accept", errno);
    }
    session_.take(std::move(session));
    session_.prepare(settings_.limit);
    files_.forgetUnread();
    return 0;
}

void OrvSyncSec::endSession() {
    session_.end();
}

int OrvSyncSec::handleSyncOps() {
    int result = startConnection();
    if (result == 0) {
        result = listenConnection();
    }
    endConnection();
    return result;
}

int OrvSyncSec::recvOp() {
    RecordBytes bytes{};
    const ssize_t got = receiveRecord(bytes);
    if (got < 0) {
        const int error = errno;
        if (listening_) {
            listening_ = false;
            last_.failed(__func__, "recv", error);
        }
        return -1;
    }
    if (got == 0) {
        return 0;
    }
    carryOut(OrvSyncRecord::decode(bytes), __func__);
    return sendResponse() < 0 ? -1 : 1;
}

// A whole record, 0 when the peer has closed instead, or -1 with errno; ECONNRESET for one that is cut short.
ssize_t OrvSyncSec::receiveRecord(RecordBytes& bytes) {
    if (const ssize_t dropped = files_.dropUnread(); dropped <= 0) {
        return dropped;
    }
    ssize_t got = session_.awaitAndReceive(bytes, MSG_WAITALL);
    std::size_t total = 0;
    while (got > 0 && (total += static_cast<std::size_t>(got)) < bytes.size()) {
        got = session_.receive(std::span(bytes).subspan(total), MSG_WAITALL);
    }
    if (got == 0 && total > 0) {
        errno = ECONNRESET;
        return -1;
    }
    return got;
}

// function: whose traces these are.
void OrvSyncSec::carryOut(const OrvSyncRecord& record, const char* function) {
    const char* const path = record.path.c_str();
    if (record.operation == OrvSyncRecord::kCopyFile) {
        orvTrace(kTraceModule, function, "name = %s, size = %d\n", path, record.size);
    } else if (record.operation == OrvSyncRecord::kMoveDirectory) {
        orvTrace(kTraceModule, function, "srcname = %s, dstname = %s\n", path, record.destination.c_str());
    } else if (record.operation <= OrvSyncRecord::kRemoveDirectory) {
        orvTrace(kTraceModule, function, "name = %s\n", path);
    }
    // What fails is recorded, and thus answered.
    switch (record.operation) {
        case OrvSyncRecord::kRemoveFile:
            files_.removeFile(record.path, function);
            break;
        case OrvSyncRecord::kCopyFile:
            files_.recvFile(record.path, record.size);
            break;
        case OrvSyncRecord::kMakeDirectory:
            files_.cleanmkdir(record.path);
            break;
        case OrvSyncRecord::kMoveDirectory:
            files_.cleanmvdir(record.path, record.destination);
            break;
        case OrvSyncRecord::kRemoveDirectory:
            files_.cleanrmdir(record.path);
            break;
        default:
            orvTrace(kTraceModule, function, "Unrecognized operation code\n");
            last_.number = kUnknownOperation;
    }
}

int OrvSyncSec::sendResponse() {
    std::vector<std::uint8_t> word;
    appendBigEndian32(word, static_cast<std::uint32_t>(last_.number));
    return session_.send(word) < 0 ? last_.failed(__func__, "send", errno) : 0;
}
