// What an event would lead to: asked of the daemon's own code, on a copy of the switch.
#pragma once

#include "ahead/wire/Timetable.h"
#include "switchctl/queue/QueueFiles.h"
#include "switchctl/queue/QueueMails.h"

#include <cstdint>
#include <string>
#include <vector>

struct EventPreview {
    struct Profile {
        std::string name;
        bool matches = false;
        std::string reason;  // why it does not; "" when it does
    };
    // What becomes of it beside the messages that wait now.
    struct Admission {
        enum class Verdict { TAKEN, REPEAT, REFUSED, NOT_OFFERED, UNKNOWN };
        Verdict verdict = Verdict::UNKNOWN;
        std::string text;
        std::uint64_t discarded = 0;  // messages that make room for it
        std::uint64_t waiting = 0;    // messages that it finds
    };

    std::string level;   // of the event, as the daemon sees it
    std::string reason;  // why no profile is asked at all; "" when they are
    std::vector<Profile> profiles;
    Admission admission;
    bool throttles = false;           // repeats are counted, not mailed,
    std::uint32_t repeatSeconds = 0;  // so long after a mail
    std::vector<QueueMail> mails;

    // now: seconds since 1970, when it happens.
    static EventPreview of(const LogRecord& event, const std::vector<Attribute>& attributes, const QueueFiles& queue,
                           std::int64_t now);
};
