#include "switchctl/text/Suggestion.h"

#include "switchctl/text/Text.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace Suggestion {
namespace {

bool equalLetters(unsigned char one, unsigned char other) {
    return std::tolower(one) == std::tolower(other);
}

// How many letters have to be put in, left out, changed, or exchanged with their neighbour.
std::size_t distance(std::string_view one, std::string_view other) {
    std::vector<std::size_t> before;
    std::vector<std::size_t> last(other.size() + 1);
    std::iota(last.begin(), last.end(), 0);
    for (std::size_t row = 1; row <= one.size(); ++row) {
        std::vector<std::size_t> now = {row};
        for (std::size_t column = 1; column <= other.size(); ++column) {
            const auto at = [](std::string_view text, std::size_t place) {
                return static_cast<unsigned char>(text[place - 1]);
            };
            const bool equal = equalLetters(at(one, row), at(other, column));
            std::size_t least = std::min({last[column - 1] + (equal ? 0 : 1), last[column] + 1, now.back() + 1});
            if (row > 1 && column > 1 && equalLetters(at(one, row), at(other, column - 1)) &&
                equalLetters(at(one, row - 1), at(other, column))) {
                least = std::min(least, before[column - 2] + 1);
            }
            now.push_back(least);
        }
        before = std::move(last);
        last = std::move(now);
    }
    return last.back();
}

}  // namespace

bool same(std::string_view one, std::string_view other) {
    return std::ranges::equal(one, other, equalLetters);
}

std::string inAnyCase(const std::string& word, const std::vector<std::string>& words) {
    const auto found = std::ranges::find_if(words, [&](const std::string& each) { return same(each, word); });
    return found == words.end() ? "" : *found;
}

std::string didYouMean(const std::string& word, const std::vector<std::string>& words) {
    constexpr std::size_t LONGEST = 64;
    if (word.size() > LONGEST) {
        return "";
    }
    std::string nearest;
    std::size_t least = std::min<std::size_t>(2, word.size() / 3) + 1;
    for (const std::string& each : words) {
        const std::size_t steps = distance(word, each);
        if (steps < least) {
            least = steps;
            nearest = each;
        }
    }
    return nearest.empty() ? "" : "; did you mean " + Text::oneLine(nearest) + "?";
}

}  // namespace Suggestion
