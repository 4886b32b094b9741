// What the tests of messages share: a switch's file tree of their own, a clock that stands still, and what was
// traced and entered in the event log.
#pragma once

#include "dbg/OrvDbg.h"
#include "mesg/OrvCHMesg.h"
#include "mesg/OrvSequenceSource.h"
#include "platform/posix/Clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

inline constexpr char kNowText[] = "Tue Nov 14 22:13:20 UTC 2023";  // of the clock in tests

// One call of app_log or switch_alarm, which the tests' program stands in for.
struct EventLogCall {
    bool alarm;
    int level;
    std::uint32_t id;
    std::uint32_t flags;
    std::string text;

    friend bool operator==(const EventLogCall&, const EventLogCall&) = default;
};
void PrintTo(const EventLogCall& call, std::ostream* stream);

extern const std::vector<EventLogCall> kMemoryAlarms;

// Counts up from a number.
class CountingSequences final : public OrvSequenceSource {
public:
    explicit CountingSequences(std::uint32_t last) : last_(last) {}
    std::uint32_t nextSequence() override { return ++last_; }

private:
    std::uint32_t last_;
};

// Has no number to give.
class NoSequences final : public OrvSequenceSource {
public:
    std::uint32_t nextSequence() override;
};

class MesgTest : public ::testing::Test {
protected:
    MesgTest();
    ~MesgTest() override;

    // Where a path of the switch is on this machine.
    std::string host(const std::string& path) const { return root_ + path; }
    void writeFile(const std::string& path, const std::string& content) const;
    std::string readFile(const std::string& path) const;
    bool exists(const std::string& path) const;
    std::vector<std::string> stagedFiles() const;

    // The trace since the start, or since forgetTraces(): each line as "Module method: text".
    std::vector<std::string> traceLines() const;
    // The same, the texts alone.
    std::vector<std::string> traces() const;
    void forgetTraces();
    const std::vector<EventLogCall>& eventLog() const;

    ManualClock clock_{1700000000, 123456};
    CountingSequences sequences_{41};

private:
    std::string root_;
    std::unique_ptr<OrvDbg> logger_;
};

// A message file's path for tests, and the directory of staged attachments.
inline constexpr char kFile[] = "/ostrel/conf/orv/callHome/queues/send/m7";
inline constexpr char kAttachments[] = "/ostrel/conf/orv/callHome/attachments/";

std::unique_ptr<OrvCHEnvelope> sampleEnvelope();
// A log event with every field filled and one envelope.
std::unique_ptr<OrvCHMesg> sampleLogEvent();
// The file of sampleLogEvent().
extern const char kSampleFile[];
