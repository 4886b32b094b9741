// The developer's trace: one logger, one file below "/tmp/", per thread that traces.
//
// Each line reaches the file before the call returns, also where one call traces several. A file that has outgrown its
// limit is rotated; five older generations stay. A logger that cannot open or rotate its file goes silent and never
// disturbs the daemon: tracing does not throw and leaves errno as it was.
#pragma once

#include "Descriptor.h"
#include "base/OrvMutex.h"

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

class OrvDbg {
public:
    // A file with more bytes than this is rotated; the line that crosses the limit is its last.
    static constexpr std::uint32_t kRotateAbove = 20224;
    static constexpr int kGenerations = 5;

    // Opens and empties the file "/tmp/" + name. A link in its place is not followed, and one that has a second name is
    // not touched: the logger is silent.
    explicit OrvDbg(const char* name);
    OrvDbg(const OrvDbg&) = delete;
    OrvDbg& operator=(const OrvDbg&) = delete;

    // Writes one line, any length. Returns the bytes in the current file after the write, -1 when silent. Any thread.
    __attribute__((format(printf, 4, 0))) long trace(const char* module, const char* function, const char* format,
                                                     std::va_list arguments) ORV_EXCLUDES(mutex_);
    // The same with a message in at most four parts, not copied when they are long: for texts of a mail's size.
    long traceParts(const char* module, const char* function, std::initializer_list<std::string_view> parts)
        ORV_EXCLUDES(mutex_);
    // A line for each text, before and behind the same for all: the bytes that as many calls of traceParts() write, and
    // the same files after rotation, in as few writes as can be.
    void traceLines(const char* module, const char* function, std::string_view before,
                    std::span<const std::string_view> texts, std::string_view behind) ORV_EXCLUDES(mutex_);

    // Creates the key on first use. 0, or -1 when there is none to be had.
    [[nodiscard]] static int createKey();
    // The calling thread's logger: null until it is set.
    static OrvDbg* ofThread();
    // Creates the key on first use. 0, or -1 when there is no key or it cannot be set. The thread owns the logger;
    // nothing deletes it by itself.
    [[nodiscard]] static int setOfThread(OrvDbg* logger);

private:
    // A line in the making: the prefix, and the message if there is room for it.
    struct Line {
        char text[1024];
        std::size_t length = 0;

        std::size_t room() const { return sizeof text - 1 - length; }
        void append(std::string_view part);  // as much of it as there is room for
    };

    // Lines that are to be written together.
    struct Lines {
        char text[4096];
        std::size_t length = 0;
    };

    void open(int flags) ORV_REQUIRES(mutex_);
    void fallSilent() ORV_REQUIRES(mutex_);
    void startLine(Line& line, const char* module, const char* function) ORV_REQUIRES(mutex_);
    void composePrefix(std::int64_t second) ORV_REQUIRES(mutex_);
    __attribute__((format(printf, 3, 0))) void writeMessage(Line& line, const char* format, std::va_list arguments)
        ORV_REQUIRES(mutex_);
    __attribute__((format(printf, 4, 0))) void writeLongMessage(Line& line, std::size_t length, const char* format,
                                                                std::va_list arguments) ORV_REQUIRES(mutex_);
    void add(Lines& lines, Line& line, std::span<const std::string_view> message) ORV_REQUIRES(mutex_);
    void write(Lines& lines) ORV_REQUIRES(mutex_);
    void write(const Line& line, std::span<const std::string_view> more = {}) ORV_REQUIRES(mutex_);
    long finishLine() ORV_REQUIRES(mutex_);
    int Rotate() ORV_REQUIRES(mutex_);
    int shiftGenerations() const ORV_REQUIRES(mutex_);
    void sayFarewell(const char* function) ORV_REQUIRES(mutex_);

    // The file and its older generations, on this machine. Made once, so that tracing itself never allocates them, and
    // never changed.
    std::array<std::string, kGenerations + 1> paths_;
    // For good. Changed under the mutex only, but looked at without it.
    std::atomic<bool> silent_{true};

    Mt::Mutex mutex_;
    Descriptor file_ ORV_GUARDED_BY(mutex_);
    std::uint32_t bytesWritten_ ORV_GUARDED_BY(mutex_) = 0;
    bool rotateFailed_ ORV_GUARDED_BY(mutex_) = false;
    // What opens each line of the second traced last, up to the module: composed once a second, not once a line.
    bool prefixComposed_ ORV_GUARDED_BY(mutex_) = false;
    std::int64_t prefixSecond_ ORV_GUARDED_BY(mutex_) = 0;
    char prefix_[64] ORV_GUARDED_BY(mutex_) = "";
    std::size_t prefixLength_ ORV_GUARDED_BY(mutex_) = 0;
    std::size_t millisecondsAt_ ORV_GUARDED_BY(mutex_) = 0;  // where in it; 0 without local time
};

// Traces through the calling thread's logger; -1 when it has none.
__attribute__((format(printf, 3, 4))) long orvTrace(const char* module, const char* function, const char* format, ...);
// Traces at most four parts as one message, without copying long ones.
long orvTraceParts(const char* module, const char* function, std::initializer_list<std::string_view> parts);
// Traces a line for each text, with the same before and behind it.
void orvTraceLines(const char* module, const char* function, std::string_view before,
                   std::span<const std::string_view> texts, std::string_view behind);

// Opens a trace line with the module and the calling function's name. Each source file that traces names its
// module: static constexpr char kTraceModule[] = "OrvApp";
#define ORV_TRACE(...) orvTrace(kTraceModule, __func__, __VA_ARGS__)
