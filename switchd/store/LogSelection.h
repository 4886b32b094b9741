// Which entries of the event log a reader wants, and from which end.
#pragma once

#include <strings.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct LogSelection {
    struct Kind {
        std::uint32_t number = 0;
        std::string start;  // of the text

        friend bool operator==(const Kind&, const Kind&) = default;
    };

    // Numbers between these two, neither included.
    std::uint64_t after = 0;
    std::uint64_t before = UINT64_MAX;
    std::int32_t maxLevel = INT32_MAX;
    std::string component;    // in any case; "" for all
    std::vector<Kind> kinds;  // any of them; none for all
    bool newestFirst = false;

    bool wantsFrom(std::string_view name) const {
        return component.empty() ||
               (name.size() == component.size() && strncasecmp(name.data(), component.data(), name.size()) == 0);
    }
    // Asked once for each entry of a log: the first letter decides most of them.
    bool wantsKind(std::uint32_t number, std::string_view text) const {
        return kinds.empty() || std::ranges::any_of(kinds, [&](const Kind& kind) {
                   return kind.number == number &&
                          (kind.start.empty() ||
                           (!text.empty() && text.front() == kind.start.front() && text.starts_with(kind.start)));
               });
    }
};
