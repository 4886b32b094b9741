#include "dbg/OrvEventLog.h"

#include "Dispatcher.h"
#include "Hsb_Component.h"
#include "app_log.h"
#include "dbg/OrvGuard.h"
#include "dbg/OrvTimer.h"
#include "testing/dbg/RecordedEventLog.h"
#include "testing/dbg/TraceFixture.h"

#include <gtest/gtest-spi.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <utility>

namespace {

using Entries = std::vector<RecordedEntry>;

class Component final : public Hsb_Component {
    int component_name(char*, int) override { return 0; }
    int handle_message(Hsb_Message*) override { return 0; }
};

class OrvEventLogTest : public TraceFixture {
protected:
    OrvEventLogTest() {
        recordedEventLog().clear();
        setOrvApplication(&application_);
    }
    ~OrvEventLogTest() override { setOrvApplication(nullptr); }

    RecordedEntry entry(int level, std::uint32_t id, const std::string& text) {
        return {false, level, id, {-1, -1, -1, -1}, 4096, &application_, text};
    }
    RecordedEntry alarm(int level, std::uint32_t id, const std::string& text) {
        return {true, level, id, {-1, -1, -1, -1}, 4096, &application_, text};
    }
    Entries memoryAlarms() {
        return {alarm(0, 0x10050034, "System resource error - contact technical support"),
                alarm(16, 0, "OrvApp - cannot allocate memory")};
    }

    Component application_;
};

TEST_F(OrvEventLogTest, writesTheDaemonsOwnEntries) {
    orvLog(orv_log::kRetryNow, "10.0.0.1", 25);

    EXPECT_EQ(recordedEventLog(),
              Entries{entry(3, 0x8b000010, "Will retry sending via SMTP server=10.0.0.1, port=25")});
}

TEST_F(OrvEventLogTest, takesPercentSignsInArgumentsAsTheyAre) {
    orvLog(orv_log::kBuildDetailRequest, "100% %s %n");

    EXPECT_EQ(recordedEventLog(), Entries{entry(kOrvLogDetail, 0x8B000001, "build request for 100% %s %n")});
}

TEST_F(OrvEventLogTest, writesTheSameTextAsEntryAndAsTrace) {
    const ThreadLogger logger("orv.out.Main");

    orvLogAndTrace("OrvCHMesg", "restore", orv_log::kFileEmpty, "m0");
    orvTraceAndLog("OrvCHClient", "handleFailMesg", orv_log::kRecovered);

    EXPECT_EQ(recordedEventLog(), (Entries{entry(15, 0x8B000001, "File m0 is empty, ignoring"),
                                           entry(2, 0x8b000014, "Successful recovery of SMTP communications")}));
    EXPECT_EQ(file("orv.out.Main"), prefix("OrvCHMesg", "restore") + "File m0 is empty, ignoring\n" +
                                        prefix("OrvCHClient", "handleFailMesg") +
                                        "Successful recovery of SMTP communications\n");
}

TEST_F(OrvEventLogTest, fillsATextIntoWhatTheBufferTakes) {
    char whole[80];
    char cut[12];

    orvFillEntry(whole, orv_log::kRetryNow, "10.0.0.1", 25);
    orvFillEntry(cut, orv_log::kRetryNow, "10.0.0.1", 25);

    EXPECT_STREQ(whole, "Will retry sending via SMTP server=10.0.0.1, port=25");
    EXPECT_STREQ(cut, "Will retry ");
}

TEST_F(OrvEventLogTest, raisesAlarmsOfLevelSixteen) {
    orvAlarm(orv_log::kReadyFailed);

    EXPECT_EQ(recordedEventLog(), Entries{alarm(16, 0, "Error returned from ready_for_conf()")});
}

TEST_F(OrvEventLogTest, raisesTwoAlarmsWhenMemoryIsShort) {
    orvMemoryAlarm();

    EXPECT_EQ(recordedEventLog(), memoryAlarms());
}

TEST_F(OrvEventLogTest, writesEntriesBeforeThereIsAnApplication) {
    setOrvApplication(nullptr);

    orvLog(orv_log::kRecovered);

    EXPECT_EQ(
        recordedEventLog(),
        (Entries{
            {false, 2, 0x8b000014, {-1, -1, -1, -1}, 4096, nullptr, "Successful recovery of SMTP communications"}}));
}

TEST_F(OrvEventLogTest, losesWhatFindsNoMemoryAndTracesIt) {
    const ThreadLogger logger("orv.out.Main");
    eventLogWithoutMemory() = true;

    orvLog(orv_log::kRecovered);
    orvAlarm(orv_log::kReadyFailed);
    orvMemoryAlarm();

    eventLogWithoutMemory() = false;
    EXPECT_EQ(recordedEventLog(), Entries{});
    const std::string lost = "lost: exception std::bad_alloc\n";
    std::string expected = prefix("OrvEventLog", "orvLog") + lost;
    for (int alarms = 0; alarms < 3; ++alarms) {
        expected += prefix("OrvEventLog", "orvAlarm") + lost;
    }
    EXPECT_EQ(file("orv.out.Main"), expected);
}

TEST_F(OrvEventLogTest, failsATestWhoseDaemonLogsWhatTheCatalogueDoesNotDescribe) {
    EXPECT_NONFATAL_FAILURE(orvWriteEntry(orv_log::kRecovered.level, 0x8b000099u, "%s", orv_log::kRecovered.text),
                            "not in the daemon's catalogue: entry 2");
    EXPECT_NONFATAL_FAILURE(orvWriteEntry(kOrvLogInternal, kOrvLogId, "Message is too large to print"),
                            "not in the daemon's catalogue");
    EXPECT_NONFATAL_FAILURE(orvRaiseAlarm(16, 0, "Message is too large"), "not in the daemon's catalogue: alarm 16");

    orvLog(orv_log::kMessageTooLarge);
    app_log(3, 1, -1, -1, -1, -1, kOrvOwnEntryFlags, nullptr, "another component's");
    app_log(3, 1, -1, -1, -1, -1, 0, &application_, "without the daemon's flags");
}

TEST_F(OrvEventLogTest, goesOnAfterAStepWhoseExceptionWasReported) {
    int steps = 0;
    orvBestEffort("step", [&steps] { ++steps; });
    orvBestEffort("step", [] { throw std::bad_alloc(); });
    orvBestEffort("step", [&steps] { ++steps; });

    EXPECT_EQ(steps, 2);
    EXPECT_EQ(recordedEventLog(), memoryAlarms());
}

TEST_F(OrvEventLogTest, guardPassesResultsOn) {
    EXPECT_EQ(orvGuarded("place", [] { return 7; }), 7);
    EXPECT_EQ(recordedEventLog(), Entries{});
}

TEST_F(OrvEventLogTest, guardRaisesTheMemoryAlarmsForAFailedAllocation) {
    EXPECT_EQ(orvGuarded("place", []() -> int { throw std::bad_alloc(); }), -1);

    EXPECT_EQ(recordedEventLog(), memoryAlarms());
}

TEST_F(OrvEventLogTest, guardLogsAndTracesAnyOtherException) {
    const ThreadLogger logger("orv.out.Main");

    EXPECT_EQ(orvGuarded("place", []() -> int { throw std::out_of_range("too far"); }), -1);
    EXPECT_EQ(orvGuarded("place", []() -> int { throw 5; }), -1);

    EXPECT_EQ(recordedEventLog(), (Entries{entry(15, 0x8B000001, "place: exception too far, event dropped"),
                                           entry(15, 0x8B000001, "place: exception of unknown type, event dropped")}));
    EXPECT_EQ(file("orv.out.Main"), prefix("OrvGuard", "report") + "place: exception too far, event dropped\n" +
                                        prefix("OrvGuard", "report") +
                                        "place: exception of unknown type, event dropped\n");
}

class Tick final : public OrvTimer {
public:
    explicit Tick(std::function<void()> body) : body_(std::move(body)) {}
    ~Tick() override { cancel(); }

private:
    void action() override { body_(); }
    std::function<void()> body_;
};

class OrvTimerTest : public OrvEventLogTest {
protected:
    static void turn() {
        const Timeval now(0, 0);
        EXPECT_GE(Dispatcher::instance()->handle_events(&now), 0);
    }
};

TEST_F(OrvTimerTest, runsItsActionWhenItTimesOut) {
    int ticks = 0;
    Tick tick([&ticks] { ++ticks; });

    EXPECT_EQ(tick.handle_timeout(), 0);
    EXPECT_EQ(ticks, 1);
}

TEST_F(OrvTimerTest, ticksOnceASecondUntilItIsCancelled) {
    int ticks = 0;
    Tick tick([&ticks] { ++ticks; });
    tick.cancel();
    tick.set(Timeval(1, 0), true);
    ASSERT_EQ(tick.start(), 0);

    std::vector<int> seen;
    for (const unsigned step : {0u, 999u, 1u, 1000u, 999u, 1u}) {
        clock_.advance(step);
        turn();
        seen.push_back(ticks);
    }
    tick.cancel();
    clock_.advance(5000);
    turn();

    EXPECT_EQ(seen, (std::vector<int>{0, 0, 1, 2, 2, 3}));
    EXPECT_EQ(ticks, 3);
}

TEST_F(OrvTimerTest, reportsAnExceptionOfItsActionAndTicksOn) {
    int ticks = 0;
    Tick tick([&ticks] {
        ++ticks;
        throw std::runtime_error("no tick");
    });
    tick.set(Timeval(1, 0), true);
    ASSERT_EQ(tick.start(), 0);

    for (int second = 0; second < 2; ++second) {
        clock_.advance(1000);
        turn();
    }

    EXPECT_EQ(ticks, 2);
    EXPECT_EQ(recordedEventLog(),
              Entries(2, entry(15, 0x8B000001, "OrvTimer::handle_timeout: exception no tick, event dropped")));
    EXPECT_EQ(tick.handle_timeout(), -1);
}

}  // namespace
