// Every system call of every road in whose place the daemon is killed, and that fails once with each error that fits.
#include "testing/campaign/RoadCase.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string_view>

namespace {

// A call of a road: which one, on which thread, and the how manieth of these.
struct Place {
    int call;
    bool onMainThread;
    unsigned nth;

    std::string name() const {
        return std::string(onMainThread ? "main." : "worker.") +
               std::string(CallFaults::table()[static_cast<std::size_t>(call)].name) + "." + std::to_string(nth);
    }
};

std::vector<Place> placesOf(const CallFaults& faults) {
    constexpr std::size_t kMostOfOneCall = 2;
    std::vector<Place> all;
    for (std::size_t call = 0; call < CallFaults::table().size(); ++call) {
        if (CallFaults::table()[call].errors.empty()) {
            continue;
        }
        for (const bool onMainThread : {false, true}) {
            std::vector<Place> places;
            for (unsigned nth = 1; nth <= faults.seen[call][onMainThread]; ++nth) {
                places.push_back({static_cast<int>(call), onMainThread, nth});
            }
            const std::vector<Place> sample = sampleOf(places, kMostOfOneCall, static_cast<unsigned>(call));
            all.insert(all.end(), sample.begin(), sample.end());
        }
    }
    return all;
}

std::string errorName(int error) {
    return error < 0 ? "EAI" + std::to_string(error) : ::strerrorname_np(error);
}

bool isOneOf(const Place& place, std::initializer_list<std::string_view> calls) {
    const std::string_view name = CallFaults::table()[static_cast<std::size_t>(place.call)].name;
    return std::find(calls.begin(), calls.end(), name) != calls.end();
}

// The errors that a call is tried with. A thread that cannot be created is not tried again by design.
std::span<const int> errorsOf(const Place& place) {
    return isOneOf(place, {"pthread_create"}) ? std::span<const int>()
                                              : CallFaults::table()[static_cast<std::size_t>(place.call)].errors;
}

// What the send thread does not hear of may come again: the end of a mail whose reply was not to be had. A kill before
// the order file lists an entry leaves a file that stays until its number is drawn again: the capture's is behind that
// of an event.
RoadRules rulesOf(const Road& road, const Place& place, int error) {
    RoadRules rules;
    rules.isKill = error == CallFaults::kKill;
    rules.excess = place.onMainThread ? 0 : 1;
    const bool stays =
        rules.isKill ? std::string_view(road.name) == "capture" : isOneOf(place, {"unlink", "unlinkat", "remove"});
    rules.filesLeft = stays ? 1 : 0;
    return rules;
}

CampaignCase caseOf(const Road& road, const std::set<std::string>& forms, const Place& place, int error) {
    const std::string how = error == CallFaults::kKill ? "kill" : errorName(error);
    return {std::string(road.name) + "/" + how + "/" + place.name(), [&road, forms, place, error] {
                RoadCase led(road, forms, rulesOf(road, place, error));
                return led.run(
                    [&](Board& board) {
                        board.faults.call = place.call;
                        board.faults.onMainThread = place.onMainThread;
                        board.faults.nth = place.nth;
                        board.faults.error = error;
                    },
                    [](Board& board) { return board.faults.hit.load(); });
            }};
}

// All kills; of the errors, each place gets one of those that fit its call, in turn, or all of them.
std::vector<CampaignCase> makeCases() {
    std::vector<CampaignCase> cases;
    for (const Road& road : campaignRoads()) {
        std::vector<Place> places;
        const std::set<std::string> forms =
            RoadCase::formsOf(road, [&](const Board& board) { places = placesOf(board.faults); });
        std::size_t turn = 0;
        for (const Place& place : places) {
            cases.push_back(caseOf(road, forms, place, CallFaults::kKill));
            const std::span<const int> errors = errorsOf(place);
            for (std::size_t i = 0; i < errors.size(); ++i) {
                if (longCampaign() || i == turn % errors.size()) {
                    cases.push_back(caseOf(road, forms, place, errors[i]));
                }
            }
            ++turn;
        }
    }
    return cases;
}

}  // namespace

int main(int argc, char** argv) {
    return runCampaign("orv_campaign_calls", argc, argv, makeCases);
}
