// The standby control processor's end of the file synchronisation: takes the records of the active side and repeats
// each in its own file tree, answering with its last error number.
//
// It trusts its peer completely: any path of the switch may be written, moved or removed. The daemon does not create
// it; who attaches a receive loop decides first how to confine it (docs/standby.md). Its thread's body ends at once.
// Made on the main thread; every operation on one thread.
//
// The error number is that of the last failure, whichever record or call it was; only startConnection() clears it.
// Kept: a reply repeats it even when its own record went well. See OrvSyncSecRecords.repeatsTheLastErrorInLaterReplies.
#pragma once

#include "sync/OrvSyncSettings.h"
#include "sync/OrvSyncSocket.h"
#include "thread/OrvThread.h"

#include <netinet/in.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

struct OrvSyncRecord;

class OrvSyncSec : public OrvThread {
public:
    // Empties the directory of the synchronisation.
    explicit OrvSyncSec(const OrvSyncSettings& settings = {});

    // The listener. Each returns 0 or -1; what failed half way is closed by endConnection() or the next start.
    int startConnection();
    int listenConnection();
    void endConnection();

    // One active side at a time; a session that is still open ends.
    int startSession();
    void endSession();

    // The main thread has nothing to tell the receiver: any message is an unknown one.
    void handleThreadMesg(OrvToThreadMesg* mesg) override;
    // Writes the receiver's entries to the event log.
    void handleMainMesg(OrvToMainMesg* mesg) override;

    // Opens the listener and closes it again.
    int handleSyncOps();

    // Waits for one record, carries it out and answers it. 1: answered, whatever became of it; 0: the peer has closed;
    // -1: reading or answering failed, and the session is of no more use. A record that is cut short is not carried
    // out: half a path is another path.
    int recvOp();
    int sendResponse();

    // What records ask for, with paths of the switch. Each returns 0 or -1.
    // After recvFile() has failed, recvOp() drops what is still to come of the file: none of it is taken for a record.
    int recvFile(const std::string& path, std::int32_t size);
    // Leaves an empty directory, new or not, with all that lead to it.
    int cleanmkdir(const std::string& path);
    // Kept: a destination that does not exist is an error in all later replies, although the move succeeds.
    // See OrvSyncSecDirectories.recordsAMissingDestinationAndMovesAllTheSame.
    int cleanmvdir(const std::string& source, const std::string& destination);
    int cleanrmdir(const std::string& path);
    // Removes everything in a directory, however deep; links are removed, not followed. Stops at the first failure.
    int cleandir(const std::string& path);

    bool running() const { return running_; }
    // Set by startConnection(), cleared by the first read of a record that fails: only that one is reported.
    bool listening() const { return listening_; }
    int error() const { return error_; }
    // Where startConnection() has bound the listener.
    std::uint16_t port() const { return ntohs(local_.sin_port); }

private:
    using RecordBytes = std::array<std::uint8_t, 516>;

    int runThread() override;
    ssize_t receiveRecord(RecordBytes& bytes);
    ssize_t dropUnread();
    void carryOut(const OrvSyncRecord& record, const char* function);
    void removeFile(const std::string& path, const char* function);
    int failed(const char* function, const char* call, int error);

    OrvSyncSocket listener_;
    OrvSyncSocket session_;
    sockaddr_in local_{};
    bool listening_ = false;
    int error_ = 0;
    const OrvSyncSettings settings_;
    std::int32_t unread_ = 0;  // bytes of the last file that are still to come
    std::atomic<bool> running_{false};
};
