// Test support: C library calls of this program that fail, or in whose place the process is killed.
//
// A program linked with orv_call_faults has the calls of the table in CallFaults.cpp go through here first. They are
// counted while watched, each call by its name and by whether the main thread makes it, and the one that the plan
// names fails, with those behind it if it says so, without effect; close, fclose and closedir close all the same.
// Instead a plan may take a step at each of these, which tells what becomes of the call. What is told and what is
// counted lies in one block of memory, which may be shared with another process. Any thread; one block at a time.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <span>
#include <string_view>

struct CallFaults {
    static constexpr std::size_t kMostCalls = 64;
    // In the place of an error number.
    static constexpr int kKill = -1;
    static constexpr int kShort = -2;     // read, write and writev move one byte
    static constexpr int kNoEffect = -3;  // pauses take no time
    // In the place of a call's index.
    static constexpr int kNone = -1;
    static constexpr int kAny = -2;

    struct Call {
        std::string_view name;
        std::span<const int> errors;  // those that fit; none: the call is there to be watched, or for one room's tests
    };
    // A call as it is about to be made, as far as it has these.
    struct Made {
        std::string_view call;
        bool onMainThread;
        int file;
        const char* name;
        const void* argument;
    };
    // An error number, or what stands in its place; 0: the call is made. Calls that a step makes are the real ones.
    using Step = std::function<int(const Made&)>;
    // All calls that go through here.
    static std::span<const Call> table();
    // From now on this block counts; null: nothing does, and no thread looks at the former block any more. The calling
    // thread is the main thread.
    static void use(CallFaults* faults);

    // --- The plan ---
    int call = kNone;       // index in the table
    const char* part = "";  // of the path of the call's file, or of a shell's command
    bool onMainThread = true;
    bool onEveryThread = false;
    unsigned nth = 0;    // of the calls that this means, from 1
    unsigned burst = 1;  // so many in a row
    int error = 0;
    const Step* step = nullptr;  // taken instead of failing
    bool tells = false;          // where it is, on standard error
    // --- While true, calls are counted and the plan counts ---
    std::atomic<bool> watched{false};
    // --- What has been seen ---
    std::atomic<bool> hit{false};
    std::atomic<unsigned> meant{0};                                       // calls that the plan means
    std::array<std::array<std::atomic<unsigned>, 2>, kMostCalls> seen{};  // [call][on the main thread]
};
