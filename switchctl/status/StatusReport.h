// The status as an operator reads it, on one screen, and as a program does.
#pragma once

#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Json.h"

#include <string>

std::string statusLines(const StatusFacts& facts, const StatusProblems& problems);
Json statusJson(const StatusFacts& facts, const StatusProblems& problems);
// The exit status, by the exception for it: none where nobody is needed.
void endWithStatus(const StatusFacts& facts, const StatusProblems& problems);
