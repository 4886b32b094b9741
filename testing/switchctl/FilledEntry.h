// An entry of the daemon's catalogue with what is filled in, as its text stands in the event log.
#pragma once

#include "catalogue/OrvLogEntries.h"

#include <cstdio>
#include <string>
#include <type_traits>

template <typename... Arguments>
std::string filledText(const OrvLogEntry<Arguments...>& kind, std::type_identity_t<Arguments>... arguments) {
    char text[1024];
    // The text was held against its arguments' types when the catalogue was compiled.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    std::snprintf(text, sizeof text, kind.text, arguments...);
#pragma GCC diagnostic pop
    return text;
}
