#include "switchctl/ahead/Rehearsal.h"

#include "switchctl/ahead/RunAhead.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Text.h"
#include "switchctl/traces/DaemonWords.h"
#include "switchctl/traces/ProbeTrace.h"

#include <algorithm>

namespace {

using ahead::Act;
using Fate = Rehearsal::Event::Fate;

// By then the daemon has read its configuration and mailed that it has started.
constexpr std::int64_t SETTLED = 30;
// Every profile that takes any level takes this one.
constexpr const char* TEXT = "rehearsed fault ";
// Longer than anybody keeps messages.
constexpr std::int64_t LONGEST = std::int64_t{8} * 24 * RehearsalPlan::HOUR;

std::uint64_t moment(std::int64_t second) {
    return static_cast<std::uint64_t>(SETTLED + second) * ahead::kSecond;
}

std::int64_t secondOf(std::uint64_t at) {
    return static_cast<std::int64_t>(at / ahead::kSecond) - SETTLED;
}

ahead::Step eventAt(std::int64_t second, std::size_t number) {
    LogRecord event;
    event.record.kind = 0;
    event.record.number = 0x00010002;
    event.record.text = TEXT + std::to_string(number);
    const WireBytes bytes = encodeFields(event);
    return {moment(second), Act::kPublish, 0, {bytes.begin(), bytes.end()}};
}

ahead::Timetable tableOf(const RehearsalPlan& plan, const std::vector<Attribute>& attributes, std::int64_t begin) {
    ahead::Timetable table;
    table.begin = begin - SETTLED;
    table.attributes = attributes;
    table.end = moment(plan.seconds) + ahead::kSecond;
    for (const RehearsalPlan::Outage& outage : plan.outages) {
        table.steps.push_back({moment(outage.begin), Act::kRefuses, outage.server, ""});
        table.steps.push_back({moment(outage.end), Act::kComesUp, outage.server, ""});
    }
    const std::vector<std::int64_t> events = plan.events();
    for (std::size_t number = 0; number < events.size(); ++number) {
        table.steps.push_back(eventAt(events[number], number));
    }
    // A server that goes down in the moment of an event is down for it.
    std::ranges::stable_sort(table.steps, {}, &ahead::Step::at);
    table.steps.push_back({moment(plan.seconds), Act::kProbe, 0, ""});
    table.listenFor = {std::string(DaemonWords::QUEUE.text), std::string(DaemonWords::STATISTICS.text)};
    return table;
}

// The number of the event that a mail is of; nothing when it is of none of ours.
std::optional<std::size_t> eventOf(const ahead::TakenMail& mail) {
    const std::size_t begin = mail.text.find(TEXT);
    if (begin == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t digits = begin + std::string_view(TEXT).size();
    const auto number = Text::number(mail.text.substr(digits, mail.text.find('\r', digits) - digits), 0, INT32_MAX);
    return number ? std::optional(static_cast<std::size_t>(*number)) : std::nullopt;
}

void readMails(Rehearsal& rehearsal, const ahead::Outcome& outcome) {
    for (const ahead::TakenMail& mail : outcome.mails) {
        const auto number = eventOf(mail);
        if (!number || *number >= rehearsal.events.size()) {
            continue;
        }
        ++rehearsal.mails;
        Rehearsal::Event& event = rehearsal.events[*number];
        if (event.delivered < 0) {
            event.delivered = secondOf(mail.at);
            event.fate = Fate::DELIVERED;
        }
    }
}

void readTries(Rehearsal& rehearsal, const ahead::Outcome& outcome) {
    auto mail = outcome.mails.begin();
    for (std::size_t i = 0; i < outcome.tries.size(); ++i) {
        const std::uint64_t next = i + 1 < outcome.tries.size() ? outcome.tries[i + 1].at : UINT64_MAX;
        Rehearsal::Try each{secondOf(outcome.tries[i].at), outcome.tries[i].where};
        // Connecting takes time, a mail taken in the moment of the next try none: it is of the one before.
        for (; mail != outcome.mails.end() && mail->at <= next; ++mail) {
            ++each.mails;
        }
        if (each.at >= 0) {
            rehearsal.tries.push_back(std::move(each));
        }
    }
}

std::uint64_t numberIn(const std::map<std::string, std::string>& values, const char* key) {
    const auto found = values.find(key);
    return found == values.end() ? 0
                                 : static_cast<std::uint64_t>(Text::number(found->second, 0, UINT32_MAX).value_or(0));
}

void readCounts(Rehearsal& rehearsal, const ahead::Outcome& outcome) {
    for (const ahead::Trace& trace : outcome.traces) {
        const auto queue = ProbeTrace::valuesIn(trace.text, DaemonWords::QUEUE);
        if (!queue.empty()) {
            rehearsal.waiting = numberIn(queue, DaemonWords::WAITING);
        }
        const auto counts = ProbeTrace::valuesIn(trace.text, DaemonWords::STATISTICS);
        if (!counts.empty()) {
            rehearsal.discards = {
                numberIn(counts, DaemonWords::DELETED_FOR_SPACE), numberIn(counts, DaemonWords::DELETED_FOR_FILE_LIMIT),
                numberIn(counts, DaemonWords::DELETED_FOR_TIME), numberIn(counts, DaemonWords::NOT_ADDED)};
            rehearsal.waiting += numberIn(counts, DaemonWords::OPEN_NOW);
        }
    }
}

// The daemon throws away the oldest first: what waits are the last of those that were not delivered.
void tellFates(Rehearsal& rehearsal) {
    const Rehearsal::Discards& gone = rehearsal.discards;
    const bool anything =
        rehearsal.mails > 0 || rehearsal.waiting > 0 || gone.space + gone.fileLimit + gone.age + gone.refused > 0;
    std::uint64_t waiting = rehearsal.waiting;
    for (auto event = rehearsal.events.rbegin(); event != rehearsal.events.rend(); ++event) {
        if (event->fate == Fate::DELIVERED) {
            continue;
        }
        event->fate = !anything ? Fate::NOT_FOR_ANYBODY : waiting > 0 ? Fate::WAITS : Fate::LOST;
        waiting -= waiting > 0 ? 1 : 0;
    }
}

bool isConfigured(const std::vector<Attribute>& attributes, unsigned server) {
    const std::string suffix = server == 0 ? "" : "1";
    const auto valueOf = [&](const std::string& key) {
        const auto found = std::ranges::find(attributes, key + suffix, &Attribute::key);
        return found == attributes.end() ? std::string() : found->value;
    };
    return valueOf("Global.Callhome.SMTPEnable") == "True" && !valueOf("Global.Callhome.NF-SMTPAddr").empty();
}

// Which of the reasons it was, where a message has gone within these seconds.
std::string whyGone(const std::vector<Attribute>& attributes, const RehearsalPlan& plan, std::int64_t begin) {
    const ahead::Outcome outcome = RunAhead::play(tableOf(plan, attributes, begin));
    Rehearsal counts;
    readCounts(counts, outcome);
    const Rehearsal::Discards& gone = counts.discards;
    return gone.fileLimit > 0 ? "the quota of messages"
           : gone.space > 0   ? "the quota of space"
           : gone.age > 0     ? "the discard period"
           : gone.refused > 0 ? "a message that the queue refused"
                              : "";
}

RehearsalPlan offline(std::int64_t seconds, std::int64_t rate) {
    return {seconds, rate, {{0, 0, seconds}, {1, 0, seconds}}};
}

// Looks at a short time first: with many events it does not take long, and the long one would.
Rehearsal::Endurance enduranceOf(const std::vector<Attribute>& attributes, std::int64_t rate, std::int64_t begin) {
    Rehearsal::Endurance endurance;
    for (std::int64_t hours = 1; hours * RehearsalPlan::HOUR <= LONGEST && hours * rate <= RehearsalPlan::MOST_EVENTS;
         hours *= 5) {
        const RehearsalPlan plan = offline(hours * RehearsalPlan::HOUR, rate);
        ahead::Timetable table = tableOf(plan, attributes, begin);
        table.listenFor = {DaemonWords::REMOVED_FROM_SEND, DaemonWords::TOO_LARGE, DaemonWords::NO_ROOM};
        endurance.looked = plan.seconds;
        for (const ahead::Trace& trace : RunAhead::play(table).traces) {
            if (trace.at >= moment(0)) {
                endurance.seconds = secondOf(trace.at);
                endurance.why = whyGone(attributes, offline(*endurance.seconds + 1, rate), begin);
                return endurance;
            }
        }
    }
    return endurance;
}

}  // namespace

Rehearsal Rehearsal::of(const RehearsalPlan& plan, const std::vector<Attribute>& attributes, std::int64_t begin) {
    for (const RehearsalPlan::Outage& outage : plan.outages) {
        if (!isConfigured(attributes, outage.server)) {
            throw UsageError("the timetable contradicts the configuration: there is no mail server " +
                             std::to_string(outage.server + 1) + " that could go down");
        }
    }
    Rehearsal rehearsal;
    rehearsal.plan = plan;
    for (const std::int64_t at : plan.events()) {
        rehearsal.events.push_back({at, -1, Fate::LOST});
    }
    const ahead::Outcome outcome = RunAhead::play(tableOf(plan, attributes, begin));
    readMails(rehearsal, outcome);
    readTries(rehearsal, outcome);
    readCounts(rehearsal, outcome);
    tellFates(rehearsal);
    if (rehearsal.count(Fate::NOT_FOR_ANYBODY) < rehearsal.events.size()) {
        rehearsal.endurance = enduranceOf(attributes, plan.rate, begin);
    }
    return rehearsal;
}

std::uint64_t Rehearsal::count(Event::Fate fate) const {
    return static_cast<std::uint64_t>(std::ranges::count(events, fate, &Event::fate));
}

std::int64_t Rehearsal::longestDelay() const {
    std::int64_t longest = 0;
    for (const Event& event : events) {
        longest = std::max(longest, event.fate == Event::Fate::DELIVERED ? event.delivered - event.at : 0);
    }
    return longest;
}
