// A long work in several processes at once; what each has found comes back and is added up.
//
// Always in processes of their own: boxes are forked from one that has no threads.
#pragma once

#include "platform/wire/Fields.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace box {

using ShareWork = std::function<std::vector<std::uint8_t>(std::uint64_t share)>;

// What each share has found; empty empty when its process ended before it had.
std::vector<std::vector<std::uint8_t>> inShares(std::uint32_t shares, const ShareWork& work);

// Figures with a description of their fields that are added up; work makes those of one share.
template <typename Figures, typename Work>
Figures addedUp(std::uint32_t shares, const Work& work) {
    Figures sum;
    for (const std::vector<std::uint8_t>& bytes :
         inShares(shares, [&work](std::uint64_t share) { return encodeFields<Figures>(work(share)); })) {
        std::optional<Figures> figures = decodeFields<Figures>(bytes);
        if (!figures) {
            figures.emplace().failures.emplace_back("FAILED: no word of a share of the work");
        }
        sum.add(*figures);
    }
    return sum;
}

// The real time that a work may take; 0 minutes: no end.
class Patience {
public:
    explicit Patience(double minutes) : minutes_(minutes) {}

    double seconds() const { return std::chrono::duration<double>(Clock::now() - begin_).count(); }
    bool isOver() const { return minutes_ > 0 && seconds() >= minutes_ * 60; }
    // Every ten seconds once: it is time to say how far the work is.
    bool tells() {
        const bool due = seconds() >= told_ + 10;
        told_ = due ? seconds() : told_;
        return due;
    }

private:
    using Clock = std::chrono::steady_clock;

    const Clock::time_point begin_ = Clock::now();
    const double minutes_;
    double told_ = 0;
};

}  // namespace box
