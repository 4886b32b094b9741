#include "switchctl/visit/VisitRecord.h"

#include <array>
#include <utility>

namespace {

// In the order of VisitStage::Kind.
constexpr std::array WAITS = {
    "resolving the name", "looking for a way", "connecting", "waiting for the greeting", "", "", "", "", ""};

std::int64_t millisecondsSince(VisitRecord::Clock::time_point begin) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(VisitRecord::Clock::now() - begin).count();
}

}  // namespace

VisitRecord::VisitRecord(ServerVisit visit) : visit_(std::move(visit)) {
    begin(visit_.byName ? VisitStage::Kind::NAME : VisitStage::Kind::CONNECT, visit_.server);
}

void VisitRecord::begin(VisitStage::Kind kind, const std::string& asked) {
    const Guarding_Lock lock(lock_);
    endCurrent();
    current_ = Current{kind, asked, Clock::now()};
}

void VisitRecord::add(VisitStage stage) {
    const Guarding_Lock lock(lock_);
    if (current_ && current_->kind == stage.kind) {
        endCurrent();
    }
    stage.milliseconds = std::exchange(spent_[stage.kind], 0);
    visit_.stages.push_back(std::move(stage));
}

void VisitRecord::noteLargestMail(std::uint64_t bytes) {
    const Guarding_Lock lock(lock_);
    visit_.largestMail = bytes;
}

void VisitRecord::finish(const std::optional<ServerVisit::Pieces>& pieces) {
    const Guarding_Lock lock(lock_);
    current_.reset();
    visit_.pieces = pieces;
    finished_ = true;
    changed_.notify_all();
}

bool VisitRecord::waitUntil(Clock::time_point time) {
    const Guarding_Lock lock(lock_);
    while (!finished_ && changed_.wait_until(lock_, time) != std::cv_status::timeout) {
    }
    return finished_;
}

ServerVisit VisitRecord::visit() const {
    const Guarding_Lock lock(lock_);
    ServerVisit visit = visit_;
    if (current_) {
        visit.stages.push_back({current_->kind, VisitStage::Outcome::TIMED_OUT, current_->asked, "", "",
                                millisecondsSince(current_->since)});
    }
    return visit;
}

std::string VisitRecord::progress() const {
    const Guarding_Lock lock(lock_);
    if (!current_) {
        return "";
    }
    const std::string wait = WAITS[static_cast<std::size_t>(current_->kind)];
    return wait.empty() ? "waiting for the reply to " + current_->asked : wait;
}

void VisitRecord::endCurrent() {
    if (current_) {
        spent_[current_->kind] = millisecondsSince(current_->since);
        current_.reset();
    }
}
