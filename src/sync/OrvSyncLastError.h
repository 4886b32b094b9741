// The error number of the last failure in a receiver of the file synchronisation, whichever record or call it was.
//
// Kept: a reply repeats it even when its own record went well. See OrvSyncSecRecords.repeatsTheLastErrorInLaterReplies.
#pragma once

#include "base/OrvText.h"
#include "dbg/OrvDbg.h"

struct OrvSyncLastError {
    int number = 0;

    // Records and traces; errno must have been read before. Always -1.
    int failed(const char* function, const char* call, int error) {
        number = error;
        orvTrace("OrvSyncSec", function, "%s: %s\n", call, orvErrorText(error).c_str());
        return -1;
    }
};
