// How evenly the main thread ticks while the capture thread has 50 MB of logs compressed and encoded.
//
// Usage: capture_ticks [MEGABYTES]
//
// The whole daemon in one process, its clock twenty times as fast: a tick is due every 50 milliseconds. Prints the
// longest gap between two turns of a timer of that length on the daemon's own loop, while the capture runs and, to
// compare, in the seconds before it is due. Wants nothing else to do on the machine.
#include "Hsb_Timer.h"
#include "app/OrvApp.h"
#include "dbg/OrvDbg.h"
#include "platform/posix/Clock.h"
#include "testing/LoopbackSwitch.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

using Steady = std::chrono::steady_clock;

constexpr std::uint64_t kScale = 20;
constexpr int kLogFiles = 16;

// The calendar goes as fast as the timers, from the switch's start on.
class FastClock final : public Clock {
public:
    std::uint64_t milliseconds() const override { return clock_.milliseconds(); }
    timeval calendar() const override {
        const std::uint64_t passed = clock_.milliseconds() - start_;
        return {static_cast<time_t>(LoopbackSwitch::START_SECONDS + static_cast<std::int64_t>(passed / 1000)),
                static_cast<suseconds_t>(passed % 1000 * 1000)};
    }
    int realMilliseconds(std::uint64_t span) const override { return clock_.realMilliseconds(span); }

private:
    SystemClock clock_{kScale};
    std::uint64_t start_ = clock_.milliseconds();
};

class TickWatch final : public Hsb_Timer {
public:
    // The longest gap since the last call, in milliseconds.
    double takeLongest() {
        const std::chrono::duration<double, std::milli> longest = longest_;
        longest_ = {};
        return longest.count();
    }
    int handle_timeout() override {
        const Steady::time_point now = Steady::now();
        longest_ = std::max(longest_, now - last_);
        last_ = now;
        return 0;
    }

private:
    Steady::time_point last_ = Steady::now();
    Steady::duration longest_{};
};

// Lines as a switch writes them, each another one.
void writeLogs(const TempRoot& root, std::size_t bytes) {
    unsigned number = 0;
    for (int file = 0; file < kLogFiles; ++file) {
        std::string text;
        while (text.size() < bytes / kLogFiles) {
            number = number * 1664525 + 1013904223;
            text += "Sat Jan  6 04:12:40 2024  Info      0002.0010  Port " + std::to_string(number >> 26) +
                    ": frames in " + std::to_string(number) + ", errors " + std::to_string(number >> 20 & 255) + "\n";
        }
        const int generation = file < 10 ? file : file - 10;
        const std::string suffix = generation == 0 ? "" : "." + std::to_string(generation);
        root.write(std::string("/ostrel/conf/") + (file < 10 ? "logfile" : "messages") + suffix, text);
    }
}

void configure(LoopbackSwitch& host) {
    host.set("Global.Services.CallhomeEnable", "True");
    host.set("Global.Callhome.FromAddr", "switch@example.com");
    host.set("Global.Callhome.FileSystemSpaceAllowed", "2000000000");
    host.set("Global.CallhomeDB.NumberOfProfiles", "1");
    host.set("Global.CallhomeDB.ProfileList.0", "Support");
    const std::string profile = "Global.CallhomeDB.Profile.0.";
    host.set(profile + "Level", "None");
    host.set(profile + "Format", "FullText");
    host.set(profile + "MaxSize", "2000000");
    host.set(profile + "EmailSubject", "Weekly report");
    host.set(profile + "NumberOfEmails", "1");
    host.set(profile + "EmailList.0", "support@example.com");
    host.set(profile + "CaptureEnable", "True");
    host.set(profile + "CaptureEntries", "1");
    host.set(profile + "Capture.0.Type", "Cron");
    host.set(profile + "Capture.0.DayOfWeek", "Tue");
    host.set(profile + "Capture.0.TimeOfDay", "22:16");
    host.set(profile + "Capture.0.Interval", "1");
}

bool traced(const TempRoot& root, const std::string& logger, const char* text) {
    return root.read("/tmp/" + logger).find(text) != std::string::npos;
}

int measure(std::size_t megabytes) {
    TempRoot root;
    LoopbackSwitch host(root);
    FastClock clock;
    useHostClock(&clock);
    writeLogs(root, megabytes << 20);
    configure(host);
    OrvDbg logger("orv.out.Main");
    if (OrvDbg::setOfThread(&logger) < 0) {
        return 1;
    }
    double before = 0;
    double during = 0;
    Steady::duration took{};
    {
        OrvApp app;
        host.pump();
        TickWatch watch;
        watch.set(Timeval(1, 0), true);
        if (watch.start() < 0) {
            return 1;
        }
        const auto wait = [&](const char* what, const std::string& logName, const char* text) {
            if (!host.runUntil([&] { return traced(root, logName, text); }, std::chrono::minutes(2))) {
                std::printf("%s\n", what);
                std::exit(1);
            }
        };
        wait("no check was made", "orv.out.Main", "recomputeQueue");
        watch.takeLongest();
        wait("no capture was started", "orv.out.Main", "pushExecMesg");
        before = watch.takeLongest();
        const Steady::time_point started = Steady::now();
        wait("the capture did not succeed", "orv.out.Main", "CronCapture succeeded!");
        took = Steady::now() - started;
        during = watch.takeLongest();
        watch.cancel();
    }
    std::printf("capture of %zu MB took %.2f s; longest gap between two ticks of 50 ms: %.1f ms, before it %.1f ms\n",
                megabytes, std::chrono::duration<double>(took).count(), during, before);
    useHostClock(nullptr);
    return OrvDbg::setOfThread(nullptr) < 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    return measure(argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 50);
}
