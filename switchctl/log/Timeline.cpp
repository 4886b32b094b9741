#include "switchctl/log/Timeline.h"

#include "catalogue/OrvEventCatalogue.h"
#include "switchctl/log/LogFilter.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"
#include "switchctl/traces/QueueLives.h"

#include <algorithm>
#include <optional>

namespace {

using Span = QueueLives::Span;

// The entries about a try are written when its outcome has come back.
constexpr std::int64_t BEHIND = SECOND / 2;
constexpr std::int64_t MILLISECOND = 1000;

// What stands between the brackets of a traced command or reply, as much of it as a screen shows.
std::string dialogueLine(std::string_view message, const TraceWords& words) {
    constexpr std::size_t LONGEST = 200;
    message.remove_prefix(words.text.size());
    message = message.substr(0, message.rfind('}'));
    const bool cut = message.size() > LONGEST;
    message = message.substr(0, LONGEST);
    const std::size_t end = message.find_last_not_of("\r\n");
    return std::string(message.substr(0, end + 1)) + (cut ? "..." : "");
}

std::optional<std::string> said(const TraceRecord& record) {
    if (record.is(DaemonWords::SENT)) {
        return "> " + dialogueLine(record.message, DaemonWords::SENT);
    }
    if (record.is(DaemonWords::RECEIVED)) {
        return "< " + dialogueLine(record.message, DaemonWords::RECEIVED);
    }
    if (record.is(DaemonWords::HELLO) || record.is(DaemonWords::ENVELOPE)) {
        return Text::split(record.message, '\n').front();
    }
    return std::nullopt;
}

bool isIn(const std::vector<Span>& spans, std::int64_t time, std::int64_t behind) {
    return std::ranges::any_of(spans, [&](const Span& span) {
        return time >= span.begin && (span.end == INT64_MAX || time < span.end + behind);
    });
}

std::int64_t timeOfEntry(const LogEntry& entry) {
    return entry.seconds * SECOND + entry.microseconds;
}

// One of those about mails.
bool isAboutMail(const LogEntry& entry) {
    const auto row = rowOf(entry);
    return row && row->row.section == std::string_view("Sending mail");
}

void inOrder(std::vector<TimelineEvent>& events) {
    std::ranges::stable_sort(events, {}, &TimelineEvent::time);
}

// The part of the dialogues that is about the profile's mail.
void addDialogues(const TimelineSources& sources, const std::string& profile, Timeline& timeline) {
    bool its = false;
    for (const TraceRecord& record : traceRecords(sources.sendTrace)) {
        const std::string_view message = record.message;
        if (record.is(DaemonWords::ENVELOPE)) {
            const std::string_view name = message.substr(DaemonWords::ENVELOPE.text.size());
            its = name.substr(0, name.rfind(']')) == profile;
            timeline.found = timeline.found || its;
        } else if (record.is(DaemonWords::HELLO)) {
            its = false;
        }
        const auto line = its ? said(record) : std::nullopt;
        if (line) {
            timeline.events.push_back({record.time().value_or(0), "server", *line});
        }
    }
}

std::int64_t beginningOf(const std::string& trace) {
    const auto records = traceRecords(trace);
    return records.empty() ? 0 : records.front().time().value_or(0);
}

}  // namespace

Timeline Timeline::ofMessage(const TimelineSources& sources, const std::string& list, std::uint32_t number) {
    QueueLives lives;
    for (const TraceRecord& record : traceRecords(sources.mainTrace)) {
        lives.take(record);
    }
    Timeline timeline;
    timeline.from = beginningOf(sources.mainTrace);
    const QueueLives::Life* const life = lives.find(list, number);
    if (life == nullptr) {
        return timeline;
    }
    timeline.found = true;
    for (const QueueLives::Step& step : life->steps) {
        timeline.events.push_back({step.time, step.source, step.text});
    }
    for (const TraceRecord& record : traceRecords(sources.sendTrace)) {
        const std::int64_t time = record.time().value_or(0);
        const auto line = isIn(life->sends, time, MILLISECOND) ? said(record) : std::nullopt;
        if (line) {
            timeline.events.push_back({time, "server", *line});
        }
    }
    for (const LogEntry& entry : sources.log) {
        if (isIn(life->sends, timeOfEntry(entry), BEHIND) && isAboutMail(entry)) {
            timeline.events.push_back({timeOfEntry(entry), "log", entry.text});
        }
    }
    inOrder(timeline.events);
    return timeline;
}

Timeline Timeline::ofProfile(const TimelineSources& sources, const std::string& profile) {
    Timeline timeline;
    timeline.from = beginningOf(sources.sendTrace);
    addDialogues(sources, profile, timeline);
    for (const LogEntry& entry : sources.log) {
        const auto row = rowOf(entry);
        if (row && std::ranges::find(row->arguments, profile) != row->arguments.end()) {
            timeline.events.push_back({timeOfEntry(entry), "log", entry.text});
            timeline.found = true;
        }
    }
    inOrder(timeline.events);
    return timeline;
}
