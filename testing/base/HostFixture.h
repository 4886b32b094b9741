// Test support: a host of the test's own, with an empty root directory and a calendar that the test sets.
#pragma once

#include "platform/posix/Clock.h"
#include "platform/posix/HostRoot.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>

// A calendar that says what it was told, however far away. Under a mutex: the target has no 64-bit atomics.
class FixedClock final : public Clock {
public:
    std::uint64_t milliseconds() const override {
        const std::lock_guard guard(lock_);
        return milliseconds_;
    }
    timeval calendar() const override {
        const std::lock_guard guard(lock_);
        return calendar_;
    }
    int realMilliseconds(std::uint64_t /*span*/) const override { return -1; }

    void set(std::int64_t seconds, std::int32_t microseconds) {
        const std::lock_guard guard(lock_);
        calendar_.tv_sec = static_cast<decltype(calendar_.tv_sec)>(seconds);
        calendar_.tv_usec = microseconds;
    }
    void advance(std::uint64_t milliseconds) {
        const std::lock_guard guard(lock_);
        milliseconds_ += milliseconds;
    }

private:
    mutable std::mutex lock_;
    std::uint64_t milliseconds_ = 1000000;
    timeval calendar_{};
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
