#include "switchctl/ahead/RehearsalPlan.h"

#include "switchctl/text/Errors.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <optional>

namespace {

// "90s", "20m", "3h" or "2d"; "0" as well.
std::optional<std::int64_t> spanOf(const std::string& text) {
    constexpr struct {
        char unit;
        std::int64_t seconds;
    } UNITS[] = {{'s', 1}, {'m', 60}, {'h', RehearsalPlan::HOUR}, {'d', 24 * RehearsalPlan::HOUR}};
    for (const auto& each : UNITS) {
        if (text.ends_with(each.unit)) {
            const auto count = Text::number(text.substr(0, text.size() - 1), 0, INT32_MAX / each.seconds);
            return count ? std::optional(*count * each.seconds) : std::nullopt;
        }
    }
    return text == "0" ? std::optional<std::int64_t>(0) : std::nullopt;
}

RehearsalPlan::Outage outageOf(const std::string& text) {
    const std::size_t colon = text.find(':');
    const std::string spans = colon == std::string::npos ? "" : text.substr(colon + 1);
    const auto server = Text::number(text.substr(0, colon), 1, 2);
    const auto span = spanOf(spans.substr(0, spans.find('@')));
    const auto begin = spans.find('@') == std::string::npos ? 0 : spanOf(spans.substr(spans.find('@') + 1));
    if (!server || !span || !begin || *span == 0) {
        throw UsageError(
            "\"" + Text::oneLine(text) +
            "\" is no outage; write the server, 1 or 2, how long and perhaps from when: 1:3h or 2:20m@90m");
    }
    return {static_cast<unsigned>(*server - 1), *begin, *begin + *span};
}

void check(const RehearsalPlan& plan) {
    const std::vector<RehearsalPlan::Outage>& outages = plan.outages;
    for (std::size_t i = 0; i < outages.size(); ++i) {
        const std::string server = "server " + std::to_string(outages[i].server + 1);
        if (outages[i].end > plan.seconds) {
            throw UsageError("the timetable contradicts itself: " + server + " would be down beyond the end, after " +
                             std::to_string(plan.seconds / RehearsalPlan::HOUR) + " hours; rehearse more hours");
        }
        if (i + 1 < outages.size() && outages[i].server == outages[i + 1].server &&
            outages[i + 1].begin <= outages[i].end) {
            throw UsageError("the timetable contradicts itself: " + server +
                             " would go down while it is down; let its outages lie apart with @");
        }
    }
}

}  // namespace

RehearsalPlan RehearsalPlan::parse(std::int64_t hours, std::int64_t rate, const std::vector<std::string>& downs) {
    RehearsalPlan plan;
    plan.seconds = hours * HOUR;
    plan.rate = rate;
    if (hours * rate > MOST_EVENTS) {
        throw UsageError("that is more than " + std::to_string(MOST_EVENTS) +
                         " events; rehearse fewer hours, or less an hour");
    }
    for (const std::string& down : downs) {
        plan.outages.push_back(outageOf(down));
    }
    std::ranges::sort(plan.outages, [](const Outage& one, const Outage& other) {
        return std::pair(one.server, one.begin) < std::pair(other.server, other.begin);
    });
    check(plan);
    return plan;
}

std::vector<std::int64_t> RehearsalPlan::events() const {
    std::vector<std::int64_t> seconds_;
    for (std::int64_t number = 0; number * HOUR < seconds * rate; ++number) {
        seconds_.push_back(number * HOUR / rate);
    }
    return seconds_;
}
