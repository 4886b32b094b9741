#include "platform/posix/Clock.h"

#include "uptime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cstdlib>
#include <optional>
#include <string>

namespace {

// HSB_TIME_SCALE as long as this lives.
class TimeScale {
public:
    explicit TimeScale(const char* value) {
        if (const char* former = std::getenv("HSB_TIME_SCALE")) {
            former_ = former;
        }
        set(value);
    }
    ~TimeScale() { set(former_ ? former_->c_str() : nullptr); }
    TimeScale(const TimeScale&) = delete;
    TimeScale& operator=(const TimeScale&) = delete;

private:
    static void set(const char* value) {
        if (value != nullptr) {
            setenv("HSB_TIME_SCALE", value, 1);
        } else {
            unsetenv("HSB_TIME_SCALE");
        }
    }

    std::optional<std::string> former_;
};

}  // namespace

TEST(SystemClock, saysThatItsScaleIsTooLarge) {
    const TimeScale scale("1001");
    testing::internal::CaptureStderr();

    const SystemClock clock;

    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "hsb: HSB_TIME_SCALE=1001 is too large: timers run 1000 times as fast\n");
}

TEST(SystemClock, readsItsScaleFromTheEnvironment) {
    const struct {
        const char* value;
        int realMilliseconds;  // that a million of the clock's take
    } cases[] = {
        {nullptr, 1000000}, {"", 1000000},     {"1", 1000000},  {"100", 10000},   {"0", 1000000},
        {"fast", 1000000},  {"2x", 1000000},   {"-5", 1000000}, {" 10", 1000000}, {"1000", 1000},
        {"1001", 1000},     {"9999999", 1000}, {"3", 333334},
    };
    for (const auto& each : cases) {
        const TimeScale scale(each.value);

        EXPECT_EQ(SystemClock().realMilliseconds(1000000), each.realMilliseconds)
            << (each.value != nullptr ? each.value : "unset");
    }
}

TEST(SystemClock, waitsAtLeastAMillisecondForWhatIsStillToCome) {
    const SystemClock clock(1000);

    EXPECT_EQ(clock.realMilliseconds(0), 0);
    EXPECT_EQ(clock.realMilliseconds(1), 1);
    EXPECT_EQ(clock.realMilliseconds(1001), 2);
}

TEST(SystemClock, cutsAWaitThatNoIntegerHolds) {
    const SystemClock clock(1);

    EXPECT_EQ(clock.realMilliseconds(UINT64_MAX), INT_MAX);
}

TEST(SystemClock, runsAsManyTimesFasterAsItsScale) {
    const SystemClock clock(1000);
    const auto real = std::chrono::steady_clock::now();
    const std::uint64_t begin = clock.milliseconds();

    while (clock.milliseconds() - begin < 20000) {
    }

    const auto passed = std::chrono::steady_clock::now() - real;
    EXPECT_GE(passed, std::chrono::milliseconds(19));
    EXPECT_LT(passed, std::chrono::seconds(20));
}

TEST(SystemClock, beginsAtTheUptimeOfTheMachine) {
    const std::uint64_t plain = SystemClock(1).milliseconds();
    const std::uint64_t fast = SystemClock(1000000).milliseconds();

    // Its first reading may already be a scaled while later.
    EXPECT_GE(fast, plain);
    EXPECT_LT(fast - plain, 20000ull * 1000000);
}

TEST(SystemClock, hasTheCalendarOfTheSystem) {
    const auto before = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    const timeval now = SystemClock(1000).calendar();
    const auto after = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());

    EXPECT_GE(now.tv_sec, before);
    EXPECT_LE(now.tv_sec, after);
}

TEST(ManualClock, standsStillUntilItIsMoved) {
    ManualClock clock(1700000000, 123456);
    const std::uint64_t begin = clock.milliseconds();

    EXPECT_EQ(clock.milliseconds(), begin);
    clock.advance(1500);

    EXPECT_EQ(clock.milliseconds(), begin + 1500);
    EXPECT_EQ(clock.calendar().tv_sec, 1700000001);
    EXPECT_EQ(clock.calendar().tv_usec, 623456);
}

TEST(ManualClock, movesItsCalendarAlone) {
    ManualClock clock(0);
    const std::uint64_t begin = clock.milliseconds();

    clock.setCalendar(1700000000, 5);

    EXPECT_EQ(clock.milliseconds(), begin);
    EXPECT_EQ(clock.calendar().tv_sec, 1700000000);
    EXPECT_EQ(clock.calendar().tv_usec, 5);
}

TEST(ManualClock, isNeverMovedByWaiting) {
    const ManualClock clock(0);

    EXPECT_EQ(clock.realMilliseconds(0), 0);
    EXPECT_EQ(clock.realMilliseconds(1), -1);
}

TEST(HostClock, servesUptimeAndCalendarTime) {
    ManualClock clock(1700000000);
    useHostClock(&clock);
    const std::uint32_t begin = uptime();

    clock.advance(2999);

    EXPECT_EQ(uptime(), begin + 2);
    EXPECT_EQ(calendar_time().tv_sec, 1700000002);
    useHostClock(nullptr);
}

TEST(HostClock, isTheSystemsAgainWhenATestHasDone) {
    ManualClock clock(0);
    useHostClock(&clock);
    useHostClock(nullptr);

    EXPECT_NE(&hostClock(), &clock);
    EXPECT_GT(calendar_time().tv_sec, 1700000000);
}
