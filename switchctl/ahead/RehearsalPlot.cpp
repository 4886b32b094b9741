#include "switchctl/ahead/RehearsalPlot.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr double LEFT = 60;
constexpr double TOP = 40;
constexpr double WIDTH = 720;
constexpr double HEIGHT = 300;

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

std::string point(double x, double y) {
    return number(x) + "," + number(y) + " ";
}

std::string rectangle(double x, double y, double width, double height, const std::string& look) {
    return "<rect x=\"" + number(x) + "\" y=\"" + number(y) + "\" width=\"" + number(width) + "\" height=\"" +
           number(height) + "\" " + look + "/>\n";
}

std::string text(double x, double y, const char* anchor, const std::string& words) {
    return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\" text-anchor=\"" + anchor + "\">" + words +
           "</text>\n";
}

struct Scale {
    double seconds;
    double most;
    double x(std::int64_t second) const { return LEFT + WIDTH * static_cast<double>(second) / seconds; }
    double y(std::size_t count) const { return TOP + HEIGHT * (1 - static_cast<double>(count) / most); }
};

// Steps up by one at each of these times.
std::string steps(const Scale& scale, std::vector<std::int64_t> times, const std::string& colour) {
    std::ranges::sort(times);
    std::string points = point(scale.x(0), scale.y(0));
    for (std::size_t count = 0; count < times.size(); ++count) {
        points += point(scale.x(times[count]), scale.y(count)) + point(scale.x(times[count]), scale.y(count + 1));
    }
    points += point(LEFT + WIDTH, scale.y(times.size()));
    return "<polyline fill=\"none\" stroke-width=\"2\" stroke=\"" + colour + "\" points=\"" + points + "\"/>\n";
}

std::string outages(const Rehearsal& rehearsal, const Scale& scale) {
    std::string all;
    for (const RehearsalPlan::Outage& outage : rehearsal.plan.outages) {
        const double y = outage.server == 0 ? TOP : TOP + HEIGHT / 2;
        const double left = scale.x(outage.begin);
        all += rectangle(left, y, scale.x(outage.end) - left, HEIGHT / 2, "fill=\"#f3c6c6\"");
        all += text(left + 4, y + 14, "start", "server " + std::to_string(outage.server + 1) + " down");
    }
    return all;
}

std::string axes(const Rehearsal& rehearsal, const Scale& scale) {
    std::string all = rectangle(LEFT, TOP, WIDTH, HEIGHT, "fill=\"none\" stroke=\"#888\"");
    const std::int64_t step =
        std::max<std::int64_t>(1, rehearsal.plan.seconds / RehearsalPlan::HOUR / 12) * RehearsalPlan::HOUR;
    for (std::int64_t second = 0; second <= rehearsal.plan.seconds; second += step) {
        all += text(scale.x(second), TOP + HEIGHT + 18, "middle", std::to_string(second / RehearsalPlan::HOUR) + " h");
    }
    all += text(LEFT - 6, TOP + 5, "end", std::to_string(rehearsal.events.size()));
    return all + text(LEFT - 6, TOP + HEIGHT, "end", "0");
}

std::string failures(const Rehearsal& rehearsal, const Scale& scale) {
    std::string all;
    for (const Rehearsal::Try& each : rehearsal.tries) {
        if (each.mails == 0) {
            all += "<circle cx=\"" + number(scale.x(each.at)) + "\" cy=\"" + number(TOP + HEIGHT) +
                   "\" r=\"2.5\" fill=\"#b00\"/>\n";
        }
    }
    return all;
}

}  // namespace

std::string rehearsalPlot(const Rehearsal& rehearsal) {
    const Scale scale{static_cast<double>(rehearsal.plan.seconds),
                      static_cast<double>(std::max<std::size_t>(1, rehearsal.events.size()))};
    std::vector<std::int64_t> events;
    std::vector<std::int64_t> delivered;
    for (const Rehearsal::Event& event : rehearsal.events) {
        events.push_back(event.at);
        if (event.fate == Rehearsal::Event::Fate::DELIVERED) {
            delivered.push_back(event.delivered);
        }
    }
    std::string all =
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 800 390\" font-family=\"sans-serif\" "
        "font-size=\"12\">\n<title>Rehearsal</title>\n";
    all += rectangle(0, 0, 800, 390, "fill=\"#fff\"") + outages(rehearsal, scale) + axes(rehearsal, scale);
    all += steps(scale, events, "#555") + steps(scale, delivered, "#1a7f37");
    all += text(LEFT, 24, "start", "events: " + std::to_string(events.size()));
    all += "<g fill=\"#1a7f37\">" + text(LEFT + 140, 24, "start", "delivered: " + std::to_string(delivered.size())) +
           "</g>\n";
    return all + failures(rehearsal, scale) + "</svg>\n";
}
