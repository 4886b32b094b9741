// What the short words of the system mean: numbers of the event log, replies of mail servers, statuses of responses,
// levels, marks of recipients, problems, faults. Asks nobody.
#pragma once

#include <string>
#include <vector>

struct Explanation {
    std::string
        kind;  // "event log", "reply", "enhanced status", "response status", "level", "mark", "problem", "fault"
    std::string name;
    std::string text;
    std::string remedy;  // "" where nothing is to be done
};

// All that it may mean; empty when nothing is known of it.
std::vector<Explanation> explanationsOf(const std::string& word);
