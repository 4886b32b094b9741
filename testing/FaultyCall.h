// What CallFaults decides, for the calls of FaultyCalls.cpp alone. Any thread; needs no memory.
#pragma once

#include "testing/CallFaults.h"

#include <dirent.h>
#include <fcntl.h>

#include <cstdio>
#include <ctime>

// A call, by its place in the table.
enum FaultyCall {
    kOpen,
    kOpenAt,
    kOpenUnlinked,
    kClose,
    kRead,
    kWrite,
    kWritev,
    kPread,
    kPwrite,
    kFtruncate,
    kRename,
    kRenameAt,
    kLink,
    kLinkAt,
    kUnlink,
    kUnlinkAt,
    kMkdir,
    kMkdirAt,
    kRmdir,
    kRemove,
    kStat,
    kLstat,
    kFstat,
    kFstatAt,
    kAccess,
    kOpendir,
    kFdopendir,
    kReaddir,
    kClosedir,
    kFopen,
    kFdopen,
    kFread,
    kFwrite,
    kFgets,
    kFclose,
    kPoll,
    kPipe2,
    kEventfd,
    kSocket,
    kConnect,
    kSend,
    kRecv,
    kSetsockopt,
    kGetsockopt,
    kFcntl,
    kGetaddrinfo,
    kSystem,
    kSpawn,
    kWaitpid,
    kThread,
    kWake,
    kSetpriority,
    kKeyCreate,
    kSetspecific,
    kMutexLock,
    kCondSignal,
    kCondWait,
    kNanosleep,
    kTrace,
    kBind,
    kListen,
    kAccept,
    kSendfile,
    kSleep,
    kCalls
};

// What a call is about: an open file, a name in an open directory, a path, or what it is told.
struct Place {
    int file = AT_FDCWD;
    const char* name = "";
    const void* argument = nullptr;

    Place() = default;
    Place(int opened) : file(opened) {}
    Place(int directory, const char* entry) : file(directory), name(entry) {}
    Place(const char* path) : name(path) {}
    Place(std::FILE* stream) : file(::fileno(stream)) {}
    Place(DIR* directory) : file(::dirfd(directory)) {}
    Place(const timespec* span) : argument(span) {}
};

// Whether the path of the place contains part. Without memory.
bool isAt(const Place& place, const char* part);

// The error number that this call is to fail with, or what stands in its place; 0: it is made.
int errorOf(FaultyCall call, const Place& place);

// Whether a block is in use at all.
bool faultsAreInUse();

// While it lives, this thread's calls are parts of another call and not looked at.
class CallsWithin {
public:
    CallsWithin();
    ~CallsWithin();
    // Whether this thread is within one.
    static bool any();
    CallsWithin(const CallsWithin&) = delete;
    CallsWithin& operator=(const CallsWithin&) = delete;
};
