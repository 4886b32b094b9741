// timeline: what happened to one message, or to one profile's mails, in order.
#include "host_root.h"
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/log/LogFilter.h"
#include "switchctl/log/Timeline.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/JsonTime.h"
#include "switchctl/traces/ProbeTrace.h"
#include "switchctl/traces/TraceFile.h"

#include <cerrno>
#include <cstring>
#include <optional>

namespace {

constexpr const char* SENDER_TRACE = "/tmp/orv.out.SMTPClient";

struct TimelineArguments {
    std::optional<std::string> number;
    std::optional<std::string> profile;
};

struct QueuePlace {
    std::string list;
    std::uint32_t number;
};

// "5", "duplicate/5".
QueuePlace placeIn(const std::string& name) {
    const std::size_t slash = name.find('/');
    const std::string list = slash == std::string::npos ? "send" : name.substr(0, slash);
    const auto number = Text::number(slash == std::string::npos ? name : name.substr(slash + 1), 0, UINT32_MAX);
    if (!number || (list != "send" && list != "duplicate" && list != "persist")) {
        throw UsageError("\"" + name +
                         "\" is no message; write its number as switchctl queue list has it: 5 or duplicate/5");
    }
    return {list, static_cast<std::uint32_t>(*number)};
}

std::string traceText(const std::string& file, std::vector<std::string>& unknown) {
    std::string text;
    if (TraceFile(file).readSince(text) < 0) {
        unknown.push_back("the trace " + file + " cannot be read: " + std::strerror(errno));
    }
    return text;
}

// The log back to where the traces begin; what was said of a profile before has no trace.
std::string readLog(Session& session, std::vector<LogEntry>& entries, std::vector<std::string>& unknown) {
    try {
        LogReader reader(session);
        constexpr std::size_t MOST = 5000;
        entries = reader.last(MOST, [](const LogEntry& entry) { return !isRoutine(entry); });
        return "";
    } catch (const NoAnswer& error) {
        unknown.push_back(std::string("what the event log has is not known: ") + error.what());
        return error.what();
    } catch (const Refused& error) {
        unknown.push_back(std::string("what the event log has is not known: ") + error.what());
        return "";
    }
}

std::string linesOf(const Timeline& timeline, const std::vector<std::string>& unknown) {
    std::vector<std::vector<std::string>> rows;
    for (const TimelineEvent& event : timeline.events) {
        rows.push_back({event.time == 0 ? "?" : momentText(event.time), event.source, Text::oneLine(event.text)});
    }
    std::string text = timeline.from == 0 ? "" : "the traces begin at " + momentText(timeline.from) + "\n";
    text += rows.empty() ? "" : Text::table(rows);
    for (const std::string& one : unknown) {
        text += Text::oneLine(one) + "\n";
    }
    return text;
}

Json jsonOf(const Timeline& timeline, const std::vector<std::string>& unknown) {
    Json list = Json::array();
    for (const TimelineEvent& event : timeline.events) {
        Json one;
        one.setNull("time").set("source", event.source).set("text", event.text);
        if (event.time != 0) {
            one.set("time", jsonTime(momentText(event.time)));
        }
        list.add(one);
    }
    Json json;
    json.set("events", list).setNull("tracesBegin").set("unknown", unknown);
    if (timeline.from != 0) {
        json.set("tracesBegin", jsonTime(momentText(timeline.from)));
    }
    return json;
}

void showTimeline(Session& session, const TimelineArguments& arguments) {
    if (arguments.number.has_value() == arguments.profile.has_value()) {
        throw UsageError("name either a message or a profile");
    }
    const auto place = arguments.number ? std::optional(placeIn(*arguments.number)) : std::nullopt;
    std::vector<std::string> unknown;
    TimelineSources sources;
    const std::string silence = readLog(session, sources.log, unknown);
    sources.mainTrace = place ? traceText(ProbeTrace::mainFile(), unknown) : "";
    sources.sendTrace = traceText(host_root() + SENDER_TRACE, unknown);
    const Timeline timeline = place ? Timeline::ofMessage(sources, place->list, place->number)
                                    : Timeline::ofProfile(sources, *arguments.profile);
    if (!timeline.found && silence.empty()) {
        throw Refused("neither the traces nor the event log know of " + arguments.number.value_or("the profile ") +
                      arguments.profile.value_or("") +
                      (timeline.from == 0 ? "" : "; the traces begin at " + momentText(timeline.from)));
    }
    session.print(jsonOf(timeline, unknown), linesOf(timeline, unknown));
    if (!silence.empty()) {
        throw NoAnswer(silence);
    }
}

}  // namespace

void addTimelineCommand(CommandTree& tree) {
    auto [command, arguments] = tree.command(tree.root(), "timeline", command_text::kTimeline, showTimeline);
    command.take({"N", "", "The message's number, as queue list has it"}, arguments.number)
        .take({"--profile", "P", "The mails of a profile instead"}, arguments.profile);
}
