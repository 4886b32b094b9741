// What stands on flash for the queues: names of directories and files, how they are opened for reading, the text of an
// entry's state block, and a queue's order file.
//
// The directories outlive the process. Main thread only.
#pragma once

#include "mesgq/OrvCHMesgQQueue.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

// Closes a stream that was not closed by hand. A caller that wants to know whether closing worked calls
// std::fclose(file.release()).
struct OrvFileCloser {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using OrvFilePtr = std::unique_ptr<std::FILE, OrvFileCloser>;

// Null with error set to the reason.
OrvFilePtr orvOpenForReading(const std::string& path, int& error);

// The directory of a queue, without a slash; "Invalid" for the init queue and for unknown types.
const char* orvQueueDirectory(ORV_CH_MESG_Q_TYPE type);
// Where the standby receives the queue's files before they count; "Invalid" likewise.
const char* orvStandbyQueueDirectory(ORV_CH_MESG_Q_TYPE type);
inline constexpr char kOrvStandbyAttachmentsDirectory[] = "/ostrel/conf/orv/callHome/attachments.sync/";

// The directory tree of the queues, in the order of creation; what exists already stays. Failures are ignored: the
// first file that cannot be written is reported then.
void orvMakeQueueDirectories();

// "<directory>/m<uniqueId>", at most 63 characters.
std::string orvEntryPath(const char* directory, std::uint32_t uniqueId);
// The same where there may be no memory for a string.
inline constexpr std::size_t kOrvPathBuffer = 64;
void orvEntryPath(char (&path)[kOrvPathBuffer], const char* directory, std::uint32_t uniqueId);
// "<directory>/order", at most 63 characters.
std::string orvOrderPath(const char* directory);

// The fields of an entry that its file carries behind the message; the defaults are those of a file without them.
struct OrvCHQueueState {
    std::uint32_t duplicatesPending = 0;
    bool persist = false;
    std::uint32_t persistRepostPeriod = 86400;
    std::uint32_t markedForDeletion = kOrvNotMarked;
    std::int32_t expire = -1;
};
std::string orvStateText(const OrvCHMesgQEntry& entry);
// Reads a message file from where it stands to its end.
OrvCHQueueState orvReadState(std::FILE& file);

// The order file: how many of a queue's entries are no tests, and their numbers from head to tail.

// Writes it anew. What fails is reported; nothing is thrown.
void updateOrderFile(OrvCHMesgQQueue& queue);

// The file behind the bytes of its count: a count cut short is the beginning of one, and an empty file none. Null when
// it is not a file of the queue's own or cannot be read: only an empty file hides the entries.
OrvFilePtr orvOpenOrderFile(const std::string& path, std::uint32_t& count, std::size_t& length);
// Reports a file that cannot be closed.
void orvCloseOrderFile(OrvFilePtr file, const std::string& path);
