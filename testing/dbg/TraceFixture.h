// Test support: a host with trace files, and the lines expected in them.
#pragma once

#include "dbg/OrvDbg.h"
#include "testing/base/HostFixture.h"

#include <cstdarg>
#include <string>

class TraceFixture : public HostFixture {
protected:
    static constexpr char kTimeOfNow[] = "11/14/2023 UTC 22:13:20.123 ";

    __attribute__((format(printf, 4, 5))) static long trace(OrvDbg& logger, const char* module, const char* function,
                                                            const char* format, ...) {
        std::va_list arguments;
        va_start(arguments, format);
        const long result = logger.trace(module, function, format, arguments);
        va_end(arguments);
        return result;
    }

    // What opens a line traced at the fixture's time.
    static std::string prefix(const std::string& module, const std::string& function) {
        return kTimeOfNow + (" " + std::to_string(getpid())) + " " + module + " " + function + ": ";
    }

    std::string file(const std::string& name) const { return contents(onHost("/tmp/" + name)); }
    bool exists(const std::string& name) const { return std::filesystem::exists(onHost("/tmp/" + name)); }
};

// The calling thread's logger for a scope.
class ThreadLogger {
public:
    explicit ThreadLogger(const char* name) : logger_(name) { EXPECT_EQ(OrvDbg::setOfThread(&logger_), 0); }
    ~ThreadLogger() { EXPECT_EQ(OrvDbg::setOfThread(nullptr), 0); }
    ThreadLogger(const ThreadLogger&) = delete;
    ThreadLogger& operator=(const ThreadLogger&) = delete;

private:
    OrvDbg logger_;
};
