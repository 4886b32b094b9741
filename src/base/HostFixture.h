// Test support: a host of the test's own, with an empty root directory and a calendar that the test sets.
#pragma once

#include "platform/posix/Clock.h"
#include "platform/posix/HostRoot.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// A calendar that says what it was told, however far away.
class FixedClock final : public Clock {
public:
    std::uint64_t milliseconds() const override { return milliseconds_; }
    timeval calendar() const override {
        timeval now{};
        now.tv_sec = static_cast<decltype(now.tv_sec)>(seconds_.load());
        now.tv_usec = microseconds_;
        return now;
    }
    int realMilliseconds(std::uint64_t /*span*/) const override { return -1; }

    void set(std::int64_t seconds, std::int32_t microseconds) {
        seconds_ = seconds;
        microseconds_ = microseconds;
    }
    void advance(std::uint64_t milliseconds) { milliseconds_ += milliseconds; }

private:
    std::atomic<std::uint64_t> milliseconds_{1000000};
    std::atomic<std::int64_t> seconds_{0};
    std::atomic<std::int32_t> microseconds_{0};
};

// The time zone of a scope.
class ZoneScope {
public:
    explicit ZoneScope(const char* zone) { use(zone); }
    ~ZoneScope() { use("UTC"); }
    ZoneScope(const ZoneScope&) = delete;
    ZoneScope& operator=(const ZoneScope&) = delete;

private:
    static void use(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
};

class HostFixture : public ::testing::Test {
protected:
    static constexpr std::int64_t kNow = 1700000000;  // 2023-11-14 22:13:20 UTC
    static constexpr std::int64_t kNoLocalTime = std::int64_t{1} << 60;

    HostFixture() {
        std::string pattern = (std::filesystem::temp_directory_path() / "orv-test-XXXXXX").string();
        root_ = mkdtemp(pattern.data());
        std::filesystem::create_directory(root_ / "tmp");
        setHostRoot(root_.string());
        clock_.set(kNow, 123456);
        useHostClock(&clock_);
    }
    ~HostFixture() override {
        useHostClock(nullptr);
        setHostRoot("");
        std::filesystem::remove_all(root_);
    }

    std::filesystem::path onHost(const std::string& path) const { return root_.string() + path; }

    static std::string contents(const std::filesystem::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    static void fill(const std::filesystem::path& file, const std::string& text) {
        std::ofstream(file, std::ios::binary) << text;
    }

    FixedClock clock_;

private:
    std::filesystem::path root_;
    const ZoneScope zone_{"UTC"};
};
