// explain: what a number or a word of the system means, without asking anybody.
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/commands/Explanations.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Text.h"

namespace {

constexpr std::size_t EXPLANATION_WIDTH = 80;

std::string joinedWords(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

std::string explanationText(const Explanation& one) {
    return one.kind + " " + one.name + "\n" + Text::folded(one.text, EXPLANATION_WIDTH, "    ") +
           (one.remedy.empty() ? "" : Text::folded("remedy: " + one.remedy, EXPLANATION_WIDTH, "    "));
}

void explain(Session& session, const std::vector<std::string>& words) {
    const std::string word = joinedWords(words);
    const std::vector<Explanation> found = explanationsOf(word);
    if (found.empty()) {
        throw Refused("nothing is known of \"" + word +
                      "\"; it may be a number or a text of the event log, a reply of a mail server, the status of a "
                      "response, a level, a recipient's mark, a problem or a fault");
    }
    Json list = Json::array();
    std::string text;
    for (const Explanation& one : found) {
        list.add(Json().set("kind", one.kind).set("name", one.name).set("text", one.text).set("remedy", one.remedy));
        text += explanationText(one);
    }
    session.print(Json().set("explanations", list), text);
}

}  // namespace

void addExplainCommand(CommandTree& tree) {
    tree.command(tree.root(), "explain", command_text::kExplain, explain,
                 {"WORD", "", "As it stands in the event log, in status or in a reply", true});
}
