// What the receiver of the file synchronisation does in its file tree, with paths of the switch.
//
// It trusts whoever asks: any path may be written, moved or removed. Each operation returns 0, or -1 with the failure
// recorded. One thread.
#pragma once

#include "sync/OrvSyncLastError.h"
#include "sync/OrvSyncSocket.h"

#include <sys/types.h>

#include <cstdint>
#include <string>

class OrvSyncFiles {
public:
    // The bytes of files come from the session. Both must outlive this object.
    OrvSyncFiles(const OrvSyncSocket& session, OrvSyncLastError& last) : session_(session), last_(last) {}

    // Another session begins: nothing of the last one's files is to come any more.
    void forgetUnread() { unread_ = 0; }
    // Drops what is still to come of a file that failed: none of it may be taken for a record. 1 when nothing is left,
    // 0 when the peer has closed, or -1 with errno, which is not recorded.
    ssize_t dropUnread();

    int recvFile(const std::string& path, std::int32_t size);
    // function: whose trace it is.
    int removeFile(const std::string& path, const char* function);
    // Leaves an empty directory, new or not, with all that lead to it.
    int cleanmkdir(const std::string& path);
    // Kept: a destination that does not exist is an error in all later replies, although the move succeeds.
    // See OrvSyncFilesDirectories.recordsAMissingDestinationAndMovesAllTheSame.
    int cleanmvdir(const std::string& source, const std::string& destination);
    int cleanrmdir(const std::string& path);
    // Removes everything in a directory, however deep; links are removed, not followed. Stops at the first failure.
    int cleandir(const std::string& path);

private:
    const OrvSyncSocket& session_;
    OrvSyncLastError& last_;
    std::int32_t unread_ = 0;  // bytes of the last file that are still to come
};
