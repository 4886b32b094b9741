// How the switch misbehaves on request: rules that spoil answers, and the answers held back by them.
//
// Services ask for a verdict before they answer. Rules are asked in the order in which they were added, every rule
// that matches acts, and each acts as often as its count says. Main thread only.
#pragma once

#include "switchd/services/FaultRule.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

// What is to become of an answer.
struct FaultVerdict {
    struct ForName {
        bool refuse = false;
        bool drop = false;
        std::optional<std::int32_t> status;
    };
    std::vector<ForName> names;  // one for each name asked about
    bool silent = false;
    bool hold = false;
    bool corrupt = false;
    std::uint32_t milliseconds = 0;
};

class Faults {
public:
    struct Numbered {
        std::uint32_t number = 0;
        FaultRule rule;  // its count is what is left
    };

    // Why a rule makes no sense, for an operator to read; empty when it does.
    static std::string problem(const FaultRule& rule);

    // Adds a rule and gives its number, from 1 on.
    std::uint32_t add(const FaultRule& rule);
    // False when there is no such rule (any more).
    bool remove(std::uint32_t number);
    // Removes all rules and releases what they held; returns how many rules there were.
    std::size_t clear();
    const std::vector<Numbered>& rules() const { return rules_; }

    FaultVerdict judge(FaultOperation operation, std::span<const std::string> names);

    // Keeps the sending of an answer until release().
    void hold(std::function<void()> send) { held_.push_back(std::move(send)); }
    // Sends what was held, oldest first; returns how many answers went out.
    std::size_t release();
    std::size_t held() const { return held_.size(); }

private:
    std::vector<Numbered> rules_;
    std::deque<std::function<void()>> held_;
    std::uint32_t lastNumber_ = 0;
};

// Whether text is what the pattern says; '*' stands for any run of characters, everything else for itself.
bool matchesPattern(std::string_view pattern, std::string_view text);
