// What somebody may have meant who wrote a word that there is not.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Suggestion {

// Whether they are the same but for upper and lower case.
bool same(std::string_view one, std::string_view other);
// The word among these that is the same in any case; "" when there is none.
std::string inAnyCase(const std::string& word, const std::vector<std::string>& words);
// "; did you mean Alarm?" for the one of these that is but a slip or two away; "" when none is.
std::string didYouMean(const std::string& word, const std::vector<std::string>& words);

}  // namespace Suggestion
