// watch: the status, on one screen that stays.
#include "switchctl/commands/WatchCommand.h"

#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/status/StatusReport.h"
#include "switchctl/status/StatusWatch.h"
#include "switchctl/text/Text.h"

#include <chrono>
#include <optional>

namespace {

struct WatchArguments {
    std::int64_t interval = 2;
    std::int64_t count = 0;  // 0: until it is ended
};

// Written over what stood there, line by line: a screen that is wiped first would flicker.
std::string over(const std::string& lines) {
    std::string text = "\x1b[H";
    std::string line;
    for (const char c : lines) {
        text += c == '\n' ? "\x1b[K\n" : std::string(1, c);
    }
    return text + "\x1b[J";
}

void look(Session& session, std::optional<StatusFacts>& facts) {
    facts = lookAgain(session, facts);
    const StatusProblems problems = statusProblems(*facts);
    std::string lines = statusLines(*facts, problems);
    if (Colour::isWanted(session.out)) {
        lines = Colour::heading(lines, shadeOf(problems));
    }
    session.print(statusJson(*facts, problems), Colour::isTerminal(session.out) ? over(lines) : lines);
}

void watch(Session& session, const WatchArguments& arguments) {
    std::optional<StatusFacts> facts;
    const auto patience = session.client.timeout();
    for (std::int64_t looks = 1;; ++looks) {
        look(session, facts);
        if (looks == arguments.count) {
            return;
        }
        // The bus is served meanwhile: a switchd that leaves is seen.
        session.client.timeout(std::chrono::seconds(arguments.interval));
        static_cast<void>(session.client.serveUntil([] { return false; }));
        session.client.timeout(patience);
    }
}

}  // namespace

void addWatchCommand(CommandTree& tree) {
    auto [command, arguments] = tree.command(tree.root(), "watch", command_text::kWatch, watch);
    command.number({"--interval", "S", "Seconds between two looks (2)"}, arguments.interval, 1, 86400)
        .number({"--count", "N", "End after so many looks"}, arguments.count, 1, INT32_MAX);
}
