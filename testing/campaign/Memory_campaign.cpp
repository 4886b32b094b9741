// Every allocation of every road that fails once, and as the first of 5 and of 50: those of the C library included.
#include "testing/campaign/RoadCase.h"

namespace {

constexpr unsigned kBursts[] = {1, 5, 50};

CampaignCase caseOf(const Road& road, const std::set<std::string>& forms, unsigned first, unsigned burst) {
    return {std::string(road.name) + "/" + std::to_string(burst) + "/" + std::to_string(first),
            [&road, forms, first, burst] {
                RoadRules rules;
                // A mail whose end could not be taken note of, or an entry that a start could not read.
                rules.excess = 1;
                rules.filesLeft = 1;
                rules.mayBeIncomplete = true;
                rules.mayLoseSender = true;
                RoadCase led(road, forms, rules);
                return led.run(
                    [&](Board& board) {
                        board.memory.first = first;
                        board.memory.burst = burst;
                    },
                    [](Board& board) { return board.memory.hit.load(); });
            }};
}

std::vector<CampaignCase> makeCases() {
    constexpr std::size_t kMostOfOneRoad = 16;
    std::vector<CampaignCase> cases;
    for (const Road& road : campaignRoads()) {
        unsigned allocations = 0;
        const std::set<std::string> forms =
            RoadCase::formsOf(road, [&](const Board& board) { allocations = board.memory.seen; });
        for (const unsigned burst : kBursts) {
            std::vector<unsigned> all;
            for (unsigned first = 1; first <= allocations; ++first) {
                all.push_back(first);
            }
            for (const unsigned first : sampleOf(all, kMostOfOneRoad, burst)) {
                cases.push_back(caseOf(road, forms, first, burst));
            }
        }
    }
    return cases;
}

}  // namespace

int main(int argc, char** argv) {
    return runCampaign("orv_campaign_memory", argc, argv, makeCases);
}
