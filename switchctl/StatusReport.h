// The status as an operator reads it, on one screen, and as a program does.
#pragma once

#include "switchctl/Json.h"
#include "switchctl/StatusFacts.h"

#include <cstdint>
#include <string>

// now: microseconds since 1970.
std::string statusLines(const StatusFacts& facts, std::int64_t now);
Json statusJson(const StatusFacts& facts, std::int64_t now);
