// rehearse: what an outage would do, in virtual time.
#include "switchctl/ahead/Rehearsal.h"
#include "switchctl/ahead/RehearsalPlot.h"
#include "switchctl/ahead/RunAhead.h"
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/text/PlainFile.h"
#include "switchctl/text/Text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

using Fate = Rehearsal::Event::Fate;

struct RehearseArguments {
    std::int64_t hours = 24;
    std::int64_t rate = 6;
    std::vector<std::string> downs;
    std::optional<std::string> plot;
};

// "26:03:05": hours, minutes, seconds.
std::string clock(std::int64_t seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld", static_cast<long long>(seconds / 3600),
                  static_cast<long long>(seconds / 60 % 60), static_cast<long long>(seconds % 60));
    return text;
}

using Rows = std::vector<std::vector<std::string>>;

// A failed try is a line; those that bring mails one after the other share one.
Rows tryRows(const Rehearsal& rehearsal) {
    Rows rows;
    for (std::size_t i = 0; i < rehearsal.tries.size();) {
        const Rehearsal::Try& first = rehearsal.tries[i];
        std::uint64_t mails = first.mails;
        std::size_t last = i;
        while (first.mails > 0 && last + 1 < rehearsal.tries.size() && rehearsal.tries[last + 1].mails > 0 &&
               rehearsal.tries[last + 1].server == first.server) {
            mails += rehearsal.tries[++last].mails;
        }
        rows.push_back({clock(first.at), last > i ? clock(rehearsal.tries[last].at) : "", first.server,
                        mails == 0 ? "cannot be reached" : "takes " + std::to_string(mails) + " mails"});
        i = last + 1;
    }
    return rows;
}

std::string enduranceText(const Rehearsal& rehearsal) {
    const Rehearsal::Endurance& endurance = rehearsal.endurance;
    if (endurance.looked == 0) {
        return "for ever: nothing is queued";
    }
    return endurance.seconds ? clock(*endurance.seconds) + " without a loss; then " +
                                   (endurance.why.empty() ? "a message" : endurance.why) + " takes the oldest"
                             : clock(endurance.looked) + " without a loss, and perhaps longer";
}

std::string totals(const Rehearsal& rehearsal) {
    const Rehearsal::Discards& gone = rehearsal.discards;
    return Text::table({{"events", std::to_string(rehearsal.events.size())},
                        {"delivered", std::to_string(rehearsal.count(Fate::DELIVERED)) + ", the latest " +
                                          clock(rehearsal.longestDelay()) + " late"},
                        {"waiting", std::to_string(rehearsal.waiting)},
                        {"thrown away", std::to_string(gone.fileLimit) + " by the quota of messages, " +
                                            std::to_string(gone.space) + " of space, " + std::to_string(gone.age) +
                                            " by age, " + std::to_string(gone.refused) + " refused"},
                        {"no profile", std::to_string(rehearsal.count(Fate::NOT_FOR_ANYBODY))},
                        {"offline", enduranceText(rehearsal)}});
}

std::string lines(const Rehearsal& rehearsal) {
    Rows rows = {{"FROM", "TO", "SERVER", "WHAT"}};
    for (auto& row : tryRows(rehearsal)) {
        rows.push_back(std::move(row));
    }
    return Text::table(rows) + "\n" + totals(rehearsal);
}

Json eventJson(const Rehearsal::Event& event) {
    static constexpr const char* FATES[] = {"delivered", "waits", "lost", "no profile"};
    Json json;
    json.set("at", event.at).set("fate", FATES[static_cast<std::size_t>(event.fate)]);
    return event.delivered < 0 ? json.setNull("delivered") : json.set("delivered", event.delivered);
}

Json json(const Rehearsal& rehearsal) {
    Json events = Json::array();
    for (const Rehearsal::Event& event : rehearsal.events) {
        events.add(eventJson(event));
    }
    Json tries = Json::array();
    for (const Rehearsal::Try& each : rehearsal.tries) {
        tries.add(Json().set("at", each.at).set("server", each.server).set("mails", each.mails));
    }
    Json offline = Json().set("looked", rehearsal.endurance.looked).set("why", rehearsal.endurance.why);
    rehearsal.endurance.seconds ? offline.set("seconds", *rehearsal.endurance.seconds) : offline.setNull("seconds");
    const Rehearsal::Discards& gone = rehearsal.discards;
    return Json()
        .set("seconds", rehearsal.plan.seconds)
        .set("events", events)
        .set("tries", tries)
        .set("mails", rehearsal.mails)
        .set("waiting", rehearsal.waiting)
        .set("discarded", Json()
                              .set("space", gone.space)
                              .set("fileLimit", gone.fileLimit)
                              .set("age", gone.age)
                              .set("notAdded", gone.refused))
        .set("longestDelay", rehearsal.longestDelay())
        .set("offline", offline);
}

void rehearse(Session& session, const RehearseArguments& arguments) {
    const RehearsalPlan plan = RehearsalPlan::parse(arguments.hours, arguments.rate, arguments.downs);
    const Rehearsal rehearsal = Rehearsal::of(plan, RunAhead::attributes(session), std::time(nullptr));
    if (arguments.plot && PlainFile::create(*arguments.plot, rehearsalPlot(rehearsal)) < 0) {
        throw Refused(*arguments.plot + " cannot be written: " + std::strerror(errno));
    }
    session.print(json(rehearsal), lines(rehearsal));
}

}  // namespace

void addRehearseCommand(CommandTree& tree) {
    auto [command, arguments] = tree.command(tree.root(), "rehearse", command_text::kRehearse, rehearse);
    command.number({"--hours", "N", "How long (24)"}, arguments.hours, 1, RehearsalPlan::MOST_HOURS)
        .take({"--down", "SERVER:SPAN", "1 or 2; 90s, 20m, 3h, 2d; 2:20m@1h: from 1 h on"}, arguments.downs)
        .number({"--rate", "N", "Events an hour (6)"}, arguments.rate, 0, RehearsalPlan::MOST_EVENTS)
        .take({"--plot", "FILE", "Draw it as well, as SVG"}, arguments.plot);
}
