// Test support: a flash that is nearly full, and content that fills it.
#pragma once

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>
#include <cstddef>
#include <random>
#include <string>

// No file that this program or its children write grows beyond this size, as long as it lives. Main thread only.
class SmallFlash {
public:
    explicit SmallFlash(rlim_t bytes) : formerAction_(std::signal(SIGXFSZ, SIG_IGN)) {
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &former_), 0);
        const rlimit limit{bytes, former_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~SmallFlash() {
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &former_), 0);
        std::signal(SIGXFSZ, formerAction_);
    }
    SmallFlash(const SmallFlash&) = delete;
    SmallFlash& operator=(const SmallFlash&) = delete;

private:
    void (*formerAction_)(int);
    rlimit former_{};
};

// Bytes that no compressor makes shorter; the same ones each time.
inline std::string noiseOf(std::size_t count) {
    std::mt19937 random(4711);
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}
