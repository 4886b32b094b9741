// How far a visit to a mail server has come: written by the thread that makes it, read by the one that waits for it.
#pragma once

#include "Guarding_Mutex.h"
#include "switchctl/visit/ServerVisit.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <optional>
#include <string>

class VisitRecord {
public:
    using Clock = std::chrono::steady_clock;

    // Begins with the server alone, and with the first that is to be done.
    explicit VisitRecord(ServerVisit visit);

    // This is waited for from now on.
    void begin(VisitStage::Kind kind, const std::string& asked) ORV_EXCLUDES(lock_);
    // It is over; how long it took is known here.
    void add(VisitStage stage) ORV_EXCLUDES(lock_);
    void noteLargestMail(std::uint64_t bytes) ORV_EXCLUDES(lock_);
    void finish(const std::optional<ServerVisit::Pieces>& pieces) ORV_EXCLUDES(lock_);

    // Whether it is over by then.
    bool waitUntil(Clock::time_point time) ORV_EXCLUDES(lock_);
    // As far as it has come. What still goes on stands last, as timed out.
    ServerVisit visit() const ORV_EXCLUDES(lock_);
    // What is waited for, in words; "" when it is over.
    std::string progress() const ORV_EXCLUDES(lock_);

private:
    struct Current {
        VisitStage::Kind kind;
        std::string asked;
        Clock::time_point since;
    };

    void endCurrent() ORV_REQUIRES(lock_);

    mutable Guarding_Mutex lock_;
    std::condition_variable_any changed_;
    ServerVisit visit_ ORV_GUARDED_BY(lock_);
    std::optional<Current> current_ ORV_GUARDED_BY(lock_);
    std::map<VisitStage::Kind, std::int64_t> spent_ ORV_GUARDED_BY(lock_);  // milliseconds, of the last of its kind
    bool finished_ ORV_GUARDED_BY(lock_) = false;
};
