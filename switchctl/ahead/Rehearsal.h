// What becomes of a plan: the daemon's own code in virtual time, with the switch's attributes.
#pragma once

#include "switchctl/ahead/RehearsalPlan.h"
#include "switchd/store/Attribute.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct Rehearsal {
    // Times are seconds since the rehearsal began.
    struct Try {
        std::int64_t at = 0;
        std::string server;       // ADDRESS:PORT
        std::uint64_t mails = 0;  // that it has brought; 0: it failed
    };
    struct Event {
        enum class Fate { DELIVERED, WAITS, LOST, NOT_FOR_ANYBODY };
        std::int64_t at = 0;
        std::int64_t delivered = -1;  // its first mail
        Fate fate = Fate::LOST;
    };
    struct Discards {
        std::uint64_t space = 0;
        std::uint64_t fileLimit = 0;
        std::uint64_t age = 0;
        std::uint64_t refused = 0;
    };
    // No mail leaves from the beginning on: when the first message is thrown away.
    struct Endurance {
        std::optional<std::int64_t> seconds;  // nothing: not within the time that was looked at
        std::int64_t looked = 0;
        std::string why;
    };

    RehearsalPlan plan;
    std::vector<Try> tries;
    std::vector<Event> events;
    Discards discards;
    std::uint64_t mails = 0;
    std::uint64_t waiting = 0;  // in the end
    Endurance endurance;

    // begin: seconds since 1970. Throws UsageError when the plan needs a mail server that is not configured.
    static Rehearsal of(const RehearsalPlan& plan, const std::vector<Attribute>& attributes, std::int64_t begin);

    std::uint64_t count(Event::Fate fate) const;
    // Of those that were delivered.
    std::int64_t longestDelay() const;
};
