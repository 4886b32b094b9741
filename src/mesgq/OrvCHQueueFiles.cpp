#include "mesgq/OrvCHQueueFiles.h"

#include "Descriptor.h"
#include "base/OrvFiles.h"
#include "base/OrvNumber.h"
#include "base/OrvPaths.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <string_view>

namespace {

constexpr int kLineBuffer = 80;
constexpr mode_t kDirectoryMode = 0777;

// An init queue has no files. Its directory makes every path unusable instead of pointing somewhere.
constexpr char kNoDirectory[] = "Invalid";

constexpr const char* kDirectories[kOrvQueueTypes] = {kNoDirectory, kOrvSendQueueDirectory, kOrvDuplicateQueueDirectory,
                                                      kOrvPersistQueueDirectory};
constexpr const char* kStandbyDirectories[kOrvQueueTypes] = {kNoDirectory, "/ostrel/conf/orv/callHome/queues_tmp/send",
                                                             "/ostrel/conf/orv/callHome/queues_tmp/duplicate",
                                                             "/ostrel/conf/orv/callHome/queues_tmp/persist"};

constexpr const char* kTree[] = {kOrvDirectory,          kOrvCallHomeDirectory,       kOrvQueuesDirectory,
                                 kOrvSendQueueDirectory, kOrvDuplicateQueueDirectory, kOrvPersistQueueDirectory,
                                 kOrvSyncDirectory,      kOrvStageDirectory,          kOrvAttachmentsSlashDirectory};

constexpr char kStateStart[] = "<OrvCHMesgQ>";
constexpr char kStateEnd[] = "</OrvCHMesgQ>";
constexpr char kDuplicatesPending[] = "duplicatesPending = ";
constexpr char kPersist[] = "persist = ";
constexpr char kPersistRepostPeriod[] = "persistRepostPeriod = ";
constexpr char kMarkedForDeletion[] = "markedForDeletion = ";
constexpr char kExpire[] = "expire = ";

// The text after label in line; null when line does not contain it.
const char* valueOf(const char* line, const char* label) {
    const char* found = std::strstr(line, label);
    return found ? found + std::strlen(label) : nullptr;
}

std::uint32_t numberOr(const char* value, std::uint32_t otherwise) {
    const OrvUnsignedNumber number = orvToUnsigned(value);
    return number.outOfRange ? otherwise : number.value;
}

std::uint32_t reasonOf(const char* line, const char* value) {
    if (std::strstr(line, "true")) {
        return kOrvMarkedByClear;
    }
    const std::uint32_t reason = std::strstr(line, "false") ? kOrvNotMarked : numberOr(value, kOrvNotMarked);
    return reason > kOrvMarkedForTime ? kOrvNotMarked : reason;
}

void readStateLine(const char* line, OrvCHQueueState& state) {
    if (const char* value = valueOf(line, kDuplicatesPending)) {
        state.duplicatesPending = numberOr(value, 0);
    } else if (valueOf(line, kPersist)) {
        state.persist = std::strstr(line, "true") != nullptr;
    } else if ((value = valueOf(line, kMarkedForDeletion))) {
        state.markedForDeletion = reasonOf(line, value);
    } else if ((value = valueOf(line, kPersistRepostPeriod))) {
        state.persistRepostPeriod = numberOr(value, OrvCHQueueState().persistRepostPeriod);
    } else if ((value = valueOf(line, kExpire))) {
        const OrvSignedNumber number = orvToSigned(value);
        state.expire = number.outOfRange ? OrvCHQueueState().expire : number.value;
    }
}

}  // namespace

OrvFilePtr orvOpenForReading(const std::string& path, int& error) {
    return orvOnceMore([&] {
        Descriptor file = orvOpenFile(path, O_RDONLY);
        OrvFilePtr stream(file ? ::fdopen(file.get(), "r") : nullptr);
        error = errno;
        if (stream) {
            [[maybe_unused]] const int taken = file.release();
        }
        return stream;
    });
}

const char* orvQueueDirectory(ORV_CH_MESG_Q_TYPE type) {
    return type < kOrvQueueTypes ? kDirectories[type] : kNoDirectory;
}

const char* orvStandbyQueueDirectory(ORV_CH_MESG_Q_TYPE type) {
    return type < kOrvQueueTypes ? kStandbyDirectories[type] : kNoDirectory;
}

void orvMakeQueueDirectories() {
    for (const char* directory : kTree) {
        [[maybe_unused]] const int made = orvMakeDirectory(directory, kDirectoryMode);
    }
}

void orvEntryPath(char (&path)[kOrvPathBuffer], const char* directory, std::uint32_t uniqueId) {
    // Kept: a number beyond 2147483647 stands with a minus sign in the name.
    static_cast<void>(std::snprintf(path, sizeof path, "%s%sm%d", directory, "/", static_cast<std::int32_t>(uniqueId)));
}

std::string orvEntryPath(const char* directory, std::uint32_t uniqueId) {
    char path[kOrvPathBuffer];
    orvEntryPath(path, directory, uniqueId);
    return path;
}

std::string orvOrderPath(const char* directory) {
    char path[kOrvPathBuffer];
    static_cast<void>(std::snprintf(path, sizeof path, "%s%sorder", directory, "/"));
    return path;
}

std::string orvStateText(const OrvCHMesgQEntry& entry) {
    return orvFormat("%s\n%s%u\n%s%s\n%s%u\n%s%u\n%s%d\n%s\n", kStateStart, kDuplicatesPending, entry.duplicatesPending,
                     kPersist, orvTrueFalse(entry.posting.persist), kPersistRepostPeriod,
                     entry.posting.persistRepostPeriod, kMarkedForDeletion, entry.markedForDeletion, kExpire,
                     entry.posting.expire, kStateEnd);
}

OrvCHQueueState orvReadState(std::FILE& file) {
    OrvCHQueueState state;
    char line[kLineBuffer];
    bool inBlock = false;
    while (std::fgets(line, sizeof line, &file)) {
        // Kept: the tags are compared with their line feeds still on, so a block as written is never recognised and
        // every restored entry takes the defaults.
        if (!inBlock) {
            inBlock = std::strcmp(line, kStateStart) == 0;
        } else if (std::strcmp(line, kStateEnd) == 0) {
            break;
        } else {
            readStateLine(line, state);
        }
    }
    return state;
}
