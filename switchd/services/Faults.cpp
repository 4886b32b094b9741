#include "switchd/services/Faults.h"

#include <algorithm>
#include <utility>

namespace {

bool concerns(const FaultRule& rule, FaultOperation operation) {
    if (rule.operation == FaultOperation::ANY) {
        return operation != FaultOperation::LOOKUP;
    }
    return rule.operation == operation;
}

void spoilName(const FaultRule& rule, FaultVerdict::ForName& verdict) {
    if (rule.kind == FaultKind::REFUSE) {
        verdict.refuse = true;
    } else if (rule.kind == FaultKind::DROP_ENTRY) {
        verdict.drop = true;
    } else if (rule.kind == FaultKind::BAD_STATUS) {
        verdict.status = rule.status;
    }
}

void spoilAnswer(const FaultRule& rule, FaultVerdict& verdict) {
    if (rule.kind == FaultKind::SILENT) {
        verdict.silent = true;
    } else if (rule.kind == FaultKind::HOLD) {
        verdict.hold = true;
    } else if (rule.kind == FaultKind::CORRUPT) {
        verdict.corrupt = true;
    } else if (rule.kind == FaultKind::DELAY) {
        verdict.milliseconds = rule.milliseconds;
    }
}

// Applies a rule to all names that it matches; false when there are none.
bool apply(const FaultRule& rule, std::span<const std::string> names, FaultVerdict& verdict) {
    bool matched = false;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (matchesPattern(rule.pattern, names[i])) {
            spoilName(rule, verdict.names[i]);
            matched = true;
        }
    }
    if (matched) {
        spoilAnswer(rule, verdict);
    }
    return matched;
}

}  // namespace

bool matchesPattern(std::string_view pattern, std::string_view text) {
    std::size_t star = std::string_view::npos;  // the last '*' passed, and the text that it has taken up to now
    std::size_t taken = 0;
    std::size_t p = 0;
    std::size_t t = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            taken = t;
        } else if (p < pattern.size() && pattern[p] == text[t]) {
            ++p;
            ++t;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            t = ++taken;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

std::string Faults::problem(const FaultRule& rule) {
    if (rule.kind > FaultKind::SILENT) {
        return "unknown kind of fault " + std::to_string(static_cast<std::uint32_t>(rule.kind));
    }
    if (rule.operation > FaultOperation::LOOKUP) {
        return "unknown operation " + std::to_string(static_cast<std::uint32_t>(rule.operation));
    }
    if (rule.operation == FaultOperation::LOOKUP && rule.kind != FaultKind::SILENT) {
        return "a lookup can only be left unanswered";
    }
    if (rule.kind == FaultKind::DROP_ENTRY && rule.operation != FaultOperation::BULK_GET &&
        rule.operation != FaultOperation::ANY) {
        return "entries can only be dropped from bulk answers";
    }
    return {};
}

std::uint32_t Faults::add(const FaultRule& rule) {
    rules_.push_back({++lastNumber_, rule});
    return lastNumber_;
}

bool Faults::remove(std::uint32_t number) {
    return std::erase_if(rules_, [number](const Numbered& known) { return known.number == number; }) > 0;
}

std::size_t Faults::clear() {
    const std::size_t count = rules_.size();
    rules_.clear();
    release();
    return count;
}

FaultVerdict Faults::judge(FaultOperation operation, std::span<const std::string> names) {
    FaultVerdict verdict;
    verdict.names.resize(names.size());
    std::vector<std::uint32_t> usedUp;
    for (Numbered& known : rules_) {
        if (concerns(known.rule, operation) && apply(known.rule, names, verdict) && known.rule.count > 0 &&
            --known.rule.count == 0) {
            usedUp.push_back(known.number);
        }
    }
    for (const std::uint32_t number : usedUp) {
        remove(number);
    }
    return verdict;
}

std::size_t Faults::release() {
    const std::deque<std::function<void()>> released = std::exchange(held_, {});
    for (const std::function<void()>& send : released) {
        send();
    }
    return released.size();
}
