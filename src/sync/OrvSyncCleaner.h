// Empties a directory of this machine whole, or stops at the first failure: the receiver of the file synchronisation
// answers its peer with one error. The queue's attachments are cleaned otherwise (OrvCHAttachmentFiles).
//
// Goes from descriptor to descriptor, so that neither a link nor the length of a path leads it elsewhere; links are
// removed, not followed. A tree may be as deep as memory allows: a few directories are open at a time, and none of it
// is done by recursion. Any thread, for one directory.
#pragma once

#include "Directory_Stream.h"

#include <sys/types.h>

#include <string>
#include <vector>

class OrvSyncCleaner {
public:
    // 0, or -1 with errno: what came before it in its order is removed then.
    [[nodiscard]] int emptyOrFail(const std::string& hostPath);
    // What emptyOrFail() was doing when it failed: "opendir", "readdir", "stat" or "remove".
    const char* failedCall() const { return call_; }

private:
    struct Level {
        Directory_Stream directory;      // none while it is far above what is being removed
        std::vector<std::string> names;  // what is still in it; the last one is next
        dev_t device = 0;
        ino_t inode = 0;
    };

    static Directory_Stream open(int parent, const char* name, int flags);
    static int listNames(Directory_Stream& directory, std::vector<std::string>& names);

    int enter(Directory_Stream directory);
    int step();
    int leave();
    int removeNext(int flags);
    int reopenParent();

    std::vector<Level> levels_;  // from the directory that is to be emptied down to where we are
    const char* call_ = "opendir";
};
