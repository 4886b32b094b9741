// Test support: C library calls of this program that fail, or in whose place the process is killed.
//
// A program linked with orv_call_faults has the calls of the table in CallFaults.cpp go through here first. They are
// counted while watched, each call by its name and by whether the main thread makes it, and the one that the plan
// names fails, with those behind it if it says so, without effect; close, fclose and closedir close all the same. What
// is told and what is counted lies in one block of memory, which may be shared with another process. Any thread; one
// block at a time.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <span>
#include <string_view>

struct CallFaults {
    static constexpr std::size_t kMostCalls = 64;
    // In the place of an error number.
    static constexpr int kKill = -1;

    struct Call {
        std::string_view name;
        std::span<const int> errors;  // those that fit
    };
    // All calls that go through here.
    static std::span<const Call> table();
    // From now on this block counts; null: nothing does. The calling thread is the main thread.
    static void use(CallFaults* faults);

    // --- The plan ---
    int call = -1;  // index in the table; -1: none
    bool onMainThread = true;
    unsigned nth = 0;    // from 1
    unsigned burst = 1;  // so many in a row
    int error = 0;
    bool tells = false;  // where it is, on standard error
    // --- While true, calls are counted and the plan counts ---
    std::atomic<bool> watched{false};
    // --- What has been seen ---
    std::atomic<bool> hit{false};
    std::array<std::array<std::atomic<unsigned>, 2>, kMostCalls> seen{};  // [call][on the main thread]
};
