// A moment as people type it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Moment {

// "2026-11-22", "2026-11-22T10:30:05.5+0100" and what lies between, "10:30" (today), "2h ago", "now"; local time where
// no zone stands there. In microseconds since 1970, as now is. Nothing when it is none of these.
std::optional<std::int64_t> parse(const std::string& text, std::int64_t now);
// What to write, for an error.
inline constexpr const char* FORMS = "2026-11-22T10:30:00, 2026-11-22, 10:30 or \"2h ago\"";

}  // namespace Moment
