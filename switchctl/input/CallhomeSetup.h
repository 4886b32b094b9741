// callhome setup: what an operator sets, as attributes.
#pragma once

#include "switchd/store/Attribute.h"

#include <optional>
#include <string>
#include <vector>

struct CallhomeSettings {
    std::optional<std::string> from;
    std::optional<std::string> replyTo;
    std::optional<std::string> contact;
    std::optional<std::string> contactEmail;
    std::optional<std::string> phone;
    std::optional<std::string> street;
    std::optional<std::string> location;
    std::optional<std::string> smtp;   // ADDR:PORT, or off
    std::optional<std::string> smtp2;  // likewise
    bool enable = false;
    bool disable = false;

    // In the order above. Throws UsageError when a setting cannot be used or when there is none.
    std::vector<Attribute> attributes() const;
};
