// Test support: the capture controller between a sink, a clock and a shell that tests move.
#pragma once

#include "Dispatcher.h"
#include "Timeval.h"
#include "capture/OrvCHCapture.h"
#include "mesg/OrvCHMesg.h"
#include "platform/posix/Clock.h"
#include "profile/OrvCHProfile.h"
#include "testing/capture/ScriptedShell.h"
#include "testing/profile/RecordingSwitch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

class RecordingSink final : public OrvCaptureSink {
public:
    OrvCHProfile* profileByName(const std::string& name) override {
        const auto found = profiles.find(name);
        return found == profiles.end() ? nullptr : found->second.get();
    }
    int enqueue(std::unique_ptr<OrvCHMesg> mesg) override {
        queued.push_back(std::move(mesg));
        if (onEnqueue) {
            onEnqueue();
        }
        return result;
    }

    std::map<std::string, std::unique_ptr<OrvCHProfile>> profiles;
    std::vector<std::unique_ptr<OrvCHMesg>> queued;
    std::function<void()> onEnqueue;  // may be empty
    int result = 0;
};

class CaptureTest : public testing::Test {
protected:
    static constexpr std::int64_t kWeek = 604800;
    // Monday 2023-11-13 02:30:00 UTC
    static constexpr std::int64_t kMonday = 1699842600;

    CaptureTest() { useHostClock(&clock_); }
    ~CaptureTest() override { useHostClock(nullptr); }

    OrvCHCapture& capture() {
        if (!capture_) {
            capture_ = std::make_unique<OrvCHCapture>(sink_, ScriptedShell::run);
            switch_.takeTraces();
        }
        return *capture_;
    }

    static CronCaptureItem itemOf(const std::string& owner, const char* day = "Mon", const char* time = "02:30",
                                  const char* weeks = "1") {
        CronCaptureItem item(owner);
        EXPECT_EQ(item.setDayOfWeek(day), 0);
        EXPECT_EQ(item.setTimeOfDay(time), 0);
        EXPECT_EQ(item.setInterval(weeks), 0);
        return item;
    }

    // One registration round.
    void schedule(const std::vector<CronCaptureItem>& items) {
        capture().readConfig();
        for (const CronCaptureItem& item : items) {
            capture().registerItem(item);
        }
        capture().completeRegistration();
    }

    void addProfile(const std::string& name, const std::string& address) {
        auto profile = std::make_unique<OrvCHProfile>(0u);
        EXPECT_EQ(profile->setName(name), 0);
        if (!address.empty()) {
            EXPECT_EQ(profile->addEmail(address), 0);
        }
        sink_.profiles[name] = std::move(profile);
    }

    // Lets seconds pass, each with its tick.
    void pass(std::int64_t seconds, bool queueOpen = true) {
        for (std::int64_t i = 0; i < seconds; ++i) {
            clock_.advance(1000);
            capture().tick(queueOpen);
        }
    }

    // The next check happens at this time.
    void checkAt(std::int64_t time, bool queueOpen = true) {
        for (int i = 0; i < 59; ++i) {
            capture().tick(queueOpen);
        }
        clock_.setCalendar(time);
        capture().tick(queueOpen);
    }

    // A check with the clock one minute before the Monday's time: the next one finds it going normally.
    void settleBeforeMonday() { checkAt(kMonday - 60); }

    // How many of the traces are this line.
    static std::size_t countOf(const std::vector<std::string>& traces, const std::string& line) {
        return static_cast<std::size_t>(std::count(traces.begin(), traces.end(), line));
    }
    std::size_t takeStarted() { return countOf(switch_.takeTraces(), "OrvCHCapture pushExecMesg: Entry\n"); }

    std::string probe() {
        switch_.takeTraces();
        capture().probe();
        const std::vector<std::string> traces = switch_.takeTraces();
        return traces.size() == 1 ? traces[0] : "not one trace";
    }

    // Runs the main loop until the condition holds.
    [[nodiscard]] static bool runUntil(const std::function<bool()>& condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        const Timeval turn(0, 20000);
        while (!condition() && std::chrono::steady_clock::now() < end) {
            if (Dispatcher::instance()->handle_events(&turn) < 0) {
                return false;
            }
        }
        return condition();
    }

    // The capture thread's trace.
    std::vector<std::string> threadTraces() {
        return RecordingSwitch::parseTraces(switch_.root().read("/tmp/orv.out.Capture"));
    }

    LocalZone zone_{"UTC0"};
    ManualClock clock_{kMonday - 7200};
    RecordingSwitch switch_;
    ScriptedShell shell_{switch_.root().path()};
    RecordingSink sink_;
    std::unique_ptr<OrvCHCapture> capture_;  // ends its thread before the others go
};
