// The active control processor's end of the file synchronisation: tells the standby of one change in the file tree at a
// time, and reads what it answers.
//
// Each operation returns 0, or a negative number, traces the system's text and leaves the error number in error() -
// but for recvResponse() without a connection, which says nothing and leaves error() as it was. The connection stays as
// it is until the caller ends it. After a copy that failed its connection is of no more use: the
// standby may wait for bytes that never come. Nothing here reads the standby's answers by itself: one recvResponse()
// per operation does. The process ignores SIGPIPE, which the kernel's file-to-socket copy raises. One thread.
#pragma once

#include "sync/OrvSyncSettings.h"
#include "sync/OrvSyncSocket.h"

#include <netinet/in.h>

#include <cstdint>
#include <string>

struct OrvSyncRecord;

class OrvSyncPri {
public:
    explicit OrvSyncPri(const OrvSyncSettings& settings = {});

    // Ends a connection that is still open. A refused connect is tried again, three in all, one second apart.
    int startConnection();
    void endConnection();

    // Minus the error number when it fails.
    int sendOp(const OrvSyncRecord& record);
    // The bytes of a file after its record: exactly size of them, none when size is below 1. EPIPE when the file has
    // become shorter.
    int sendFile(const std::string& path, std::int32_t size);
    // A file under a name for the standby, both as paths of the switch. EOVERFLOW when the size does not fit in the
    // record, from 2 GB on.
    int sendCpFile(const std::string& path, const std::string& name);
    int sendRmFile(const std::string& path);
    int sendMkDir(const std::string& path);
    int sendMvDir(const std::string& source, const std::string& destination);
    int sendRmDir(const std::string& path);

    // Waits for the standby's answer to the oldest operation that has none yet.
    // Kept: fewer than four bytes are an answer, and so are none from a standby that has hung up.
    // See OrvSyncPriReply.takesAShortReplyAsItIs.
    int recvResponse();

    bool connected() const { return connected_; }
    // The standby's last error number; 0 when it has recorded none since it began to listen.
    std::uint32_t reply() const { return reply_; }
    // How many bytes of it arrived: 4, unless the standby hung up.
    std::size_t replyBytes() const { return replyBytes_; }
    // The last failure's errno.
    int error() const { return error_; }

private:
    int connectPeer();
    int failed(const char* function, const char* call, int error);

    OrvSyncSocket socket_;
    sockaddr_in peer_{};
    bool connected_ = false;
    std::uint32_t reply_ = 0;
    int error_ = 0;
    std::size_t replyBytes_ = 0;
    const OrvSyncSettings settings_;
};
