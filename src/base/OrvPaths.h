// Every path of the switch that the daemon uses, and the way to the file behind it. Any thread.
//
// Texts show the switch's own path; orvHostPath() puts the host's root in front where a path meets the system.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

inline constexpr char kOrvTraceDirectory[] = "/tmp/";
inline constexpr char kOrvCaptureDirectory[] = "/tmp/";
inline constexpr char kOrvSupportShell[] = "/ostrel/bin/clish";
inline constexpr char kOrvConfDirectory[] = "/ostrel/conf/";
inline constexpr char kOrvDirectory[] = "/ostrel/conf/orv";
inline constexpr char kOrvCallHomeDirectory[] = "/ostrel/conf/orv/callHome";
inline constexpr char kOrvQueuesDirectory[] = "/ostrel/conf/orv/callHome/queues";
inline constexpr char kOrvSendQueueDirectory[] = "/ostrel/conf/orv/callHome/queues/send";
inline constexpr char kOrvDuplicateQueueDirectory[] = "/ostrel/conf/orv/callHome/queues/duplicate";
inline constexpr char kOrvPersistQueueDirectory[] = "/ostrel/conf/orv/callHome/queues/persist";
inline constexpr char kOrvSyncDirectory[] = "/ostrel/conf/orv/callHome/sync";
inline constexpr char kOrvStageDirectory[] = "/ostrel/conf/orv/callHome/attachments.stage/";
inline constexpr char kOrvAttachmentsDirectory[] = "/ostrel/conf/orv/callHome/attachments";
inline constexpr char kOrvAttachmentsSlashDirectory[] = "/ostrel/conf/orv/callHome/attachments/";
inline constexpr char kOrvAttachmentState[] = "/ostrel/conf/orv/callHome/attachments.state";
inline constexpr char kOrvCaptureSequence[] = "/ostrel/conf/orv/callHome/capture.seq";
inline constexpr char kOrvQueueListing[] = "/tmp/orv-queue-order";
inline constexpr char kOrvMailCopyPrefix[] = "/tmp/output.";

// The path as the operating system knows it: host root + path.
std::string orvHostPath(std::string_view path);

extern "C" {

// The one way onto a file of a fixed name. OrvFiles.h is for everybody else. Opens hostPath without following a link
// behind its first trusted bytes, which end with a whole component. As open(): a descriptor, or -1 with errno. May be
// interrupted.
int orvOpenUnlinked(const char* hostPath, std::size_t trusted, int flags, mode_t mode);
}
