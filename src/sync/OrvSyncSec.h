// The standby control processor's end of the file synchronisation: takes the records of the active side and repeats
// each in its own file tree, answering with its last error number.
//
// It trusts its peer completely: any path of the switch may be written, moved or removed. The daemon does not create
// it; who attaches a receive loop decides first how to confine it (docs/standby.md). Its thread's body ends at once.
// Made on the main thread; every operation on one thread.
//
// Only startConnection() clears the last error number.
#pragma once

#include "sync/OrvSyncFiles.h"
#include "sync/OrvSyncLastError.h"
#include "sync/OrvSyncSettings.h"
#include "sync/OrvSyncSocket.h"
#include "thread/OrvThread.h"

#include <netinet/in.h>

#include <array>
#include <atomic>
#include <cstdint>

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

    // What records ask for.
    OrvSyncFiles& files() { return files_; }

    bool running() const { return running_; }
    // Set by startConnection(), cleared by the first read of a record that fails: only that one is reported.
    bool listening() const { return listening_; }
    int error() const { return last_.number; }
    // Where startConnection() has bound the listener.
    std::uint16_t port() const { return ntohs(local_.sin_port); }

private:
    using RecordBytes = std::array<std::uint8_t, 516>;

    int runThread() override;
    ssize_t receiveRecord(RecordBytes& bytes);
    void carryOut(const OrvSyncRecord& record, const char* function);

    OrvSyncSocket listener_;
    OrvSyncSocket session_;
    sockaddr_in local_{};
    bool listening_ = false;
    OrvSyncLastError last_;
    OrvSyncFiles files_{session_, last_};
    const OrvSyncSettings settings_;
    std::atomic<bool> running_{false};
};
