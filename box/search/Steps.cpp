#include "box/search/Steps.h"

#include <algorithm>
#include <charconv>

namespace box {

namespace {

constexpr std::uint32_t kMost = 10000000;

bool readStep(std::string_view text, std::uint32_t& step) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), step);
    return error == std::errc() && end == text.data() + text.size() && step > 0 && step <= kMost;
}

}  // namespace

bool readSteps(std::string_view text, Steps& steps) {
    steps.clear();
    do {
        const std::string_view part = text.substr(0, text.find(','));
        const std::size_t dash = part.find('-');
        std::uint32_t first = 0;
        std::uint32_t last = 0;
        if (!readStep(part.substr(0, dash), first) ||
            !readStep(dash == std::string_view::npos ? part : part.substr(dash + 1), last) || last < first) {
            return false;
        }
        for (std::uint32_t step = first; step <= last; ++step) {
            steps.insert(steps.end(), step);
        }
        text.remove_prefix(std::min(text.size(), part.size() + 1));
    } while (!text.empty());
    return true;
}

std::string stepsText(const Steps& steps) {
    std::string text;
    for (auto step = steps.begin(); step != steps.end();) {
        const std::uint32_t first = *step;
        std::uint32_t last = first;
        while (++step != steps.end() && *step == last + 1) {
            last = *step;
        }
        text += (text.empty() ? "" : ",") + std::to_string(first) + (last > first ? "-" + std::to_string(last) : "");
    }
    return text;
}

}  // namespace box
