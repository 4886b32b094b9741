// The developer's trace: one logger, one file below "/tmp/", per thread that traces.
//
// Each line is flushed as it is written. A file that has outgrown its limit is rotated; five older generations
// stay. A logger that cannot open or rotate its file goes silent and never disturbs the daemon.
#pragma once

#include "base/OrvMutex.h"

#include <cstdarg>
#include <cstdint>
#include <string>

class OrvDbg {
public:
    // Opens and empties the file "/tmp/" + name; a link in its place is not followed.
    explicit OrvDbg(const char* name);
    ~OrvDbg();
    OrvDbg(const OrvDbg&) = delete;
    OrvDbg& operator=(const OrvDbg&) = delete;

    // Writes one line, any length. Returns the bytes in the current file after the write, -1 when silent. Any thread.
    long trace(const char* module, const char* function, const char* format, std::va_list arguments);

    // The calling thread's logger: null until it is set.
    static OrvDbg* ofThread();
    // Creates the key on first use. 0, or -1 when there is no key or it cannot be set.
    [[nodiscard]] static int setOfThread(OrvDbg* logger);
};

// Traces through the calling thread's logger; -1 when it has none.
__attribute__((format(printf, 3, 4))) long orvTrace(const char* module, const char* function, const char* format, ...);

// Opens a trace line with the module and the calling function's name. Each source file that traces names its
// module: static constexpr char kTraceModule[] = "OrvApp";
#define ORV_TRACE(...) orvTrace(kTraceModule, __func__, __VA_ARGS__)
