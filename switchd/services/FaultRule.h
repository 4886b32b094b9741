// One way in which the switch misbehaves on request, and for what.
#pragma once

#include <cstdint>
#include <string>

enum class FaultKind : std::uint32_t {
    REFUSE = 0,      // the request is not done; its answer has status -1 and no value
    BAD_STATUS = 1,  // the request is done; its answer has the rule's status
    DELAY = 2,       // the answer leaves the rule's milliseconds later, on the platform's timers
    HOLD = 3,        // the answer waits until held answers are released, so that later ones overtake it
    DROP_ENTRY = 4,  // the attribute is left out of a bulk answer
    CORRUPT = 5,     // the answer's payload is cut so that it cannot be read
    SILENT = 6,      // no answer at all
};

enum class FaultOperation : std::uint32_t {
    ANY = 0,  // everything that the attribute service answers
    CONNECT = 1,
    GET = 2,
    BULK_GET = 3,
    SET = 4,
    LOOKUP = 5,  // the name service; SILENT only
};

struct FaultRule {
    FaultKind kind = FaultKind::REFUSE;
    FaultOperation operation = FaultOperation::ANY;
    // Attribute or component name; '*' stands for any run of characters. A bulk request matches when one of its
    // names does. A connect has the name "".
    std::string pattern = "*";
    std::uint32_t count = 1;         // answers that it spoils; 0: all until it is removed
    std::uint32_t milliseconds = 0;  // DELAY
    std::int32_t status = -1;        // BAD_STATUS

    friend bool operator==(const FaultRule&, const FaultRule&) = default;
};
