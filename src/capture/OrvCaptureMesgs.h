// What the main thread and the capture thread tell each other.
//
// The copy of the item that a message names belongs to the main thread's list of started captures and stays there
// until the result has been handled.
#pragma once

#include "mesg/OrvCHMesg.h"
#include "profile/CronCaptureItem.h"
#include "thread/OrvThread.h"

#include <cstdint>
#include <ctime>
#include <memory>
#include <utility>

// A capture that has been handed to the thread: its own copy of the item, so that a profile change meanwhile does
// not touch it, and the time of the check that started it.
struct OrvStartedCapture {
    OrvStartedCapture() = default;
    // The one copy that is made of an item when it is started.
    OrvStartedCapture(const CronCaptureItem& started, std::time_t time) : item(started), checkTime(time) {}

    CronCaptureItem item;
    std::time_t checkTime = 0;
};

// Main thread to capture thread: run this capture.
class OrvCHCaptureExec final : public OrvToThreadMesg {
public:
    static constexpr std::uint32_t kId = 7;

    explicit OrvCHCaptureExec(const OrvStartedCapture& capture) : OrvToThreadMesg(kId), capture_(capture) {}
    const OrvStartedCapture& capture() const { return capture_; }

private:
    const OrvStartedCapture& capture_;
};

// Capture thread to main thread: the capture failed with this system error number.
class OrvCHCaptureFail final : public OrvToMainMesg {
public:
    static constexpr std::uint32_t kId = 9;

    OrvCHCaptureFail(const OrvStartedCapture& capture, int error)
        : OrvToMainMesg(kId), capture_(capture), error_(error) {}
    const OrvStartedCapture& capture() const { return capture_; }
    int error() const { return error_; }

private:
    const OrvStartedCapture& capture_;
    const int error_;
};

// Capture thread to main thread: the capture is done, this is its message.
class OrvCHCaptureSucceed final : public OrvToMainMesg {
public:
    static constexpr std::uint32_t kId = 10;

    OrvCHCaptureSucceed(const OrvStartedCapture& capture, std::unique_ptr<OrvCHMesg> mesg)
        : OrvToMainMesg(kId), capture_(capture), mesg_(std::move(mesg)) {}
    const OrvStartedCapture& capture() const { return capture_; }
    std::unique_ptr<OrvCHMesg> takeMesg() { return std::move(mesg_); }

private:
    const OrvStartedCapture& capture_;
    std::unique_ptr<OrvCHMesg> mesg_;
};
