// A campaign: many cases of one class of fault, led by two processes, with a line of figures at its end.
//
// Usage of every campaign's program: [--list | --case NAME | --case BEGINNING/]. ORV_CAMPAIGN=long in the environment
// runs all cases instead of a sample (always the same one).
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <vector>

enum class Verdict { kHeld, kNotReached, kFailed };

struct CaseResult {
    Verdict verdict = Verdict::kHeld;
    std::string text;  // what is wrong; with --case also what was seen
};

struct CampaignCase {
    std::string name;
    std::function<CaseResult()> run;
};

// Whether all cases are asked for, and not a sample.
bool longCampaign();

// Whether one case is run alone, to be looked at closely.
bool lookingClosely();

// At most so many of them, the first and the last among them; all of them in a long campaign. The same ones each time.
template <typename Thing>
std::vector<Thing> sampleOf(const std::vector<Thing>& things, std::size_t most, unsigned seed = 4711) {
    if (longCampaign() || things.size() <= most) {
        return things;
    }
    std::mt19937 random(seed);
    std::vector<bool> taken(things.size(), false);
    taken.front() = taken.back() = true;
    for (std::size_t left = most - std::min<std::size_t>(most, 2); left > 0;) {
        const std::size_t index = random() % things.size();
        left -= taken[index] ? 0u : 1u;
        taken[index] = true;
    }
    std::vector<Thing> sample;
    for (std::size_t i = 0; i < things.size(); ++i) {
        if (taken[i]) {
            sample.push_back(things[i]);
        }
    }
    return sample;
}

// What main returns: 0 when every case held. Cases that nothing reaches do not fail, but are counted, and at least
// half have to be reached.
int runCampaign(const std::string& name, int argc, char** argv,
                const std::function<std::vector<CampaignCase>()>& makeCases);
