#include "switchctl/serve/DayBook.h"

#include "catalogue/OrvLogEntries.h"
#include "switchctl/text/JsonTime.h"
#include "switchctl/text/Moment.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"
#include "switchctl/traces/TraceRecords.h"

#include <algorithm>
#include <utility>

namespace {

// A record that goes on for longer is none.
constexpr std::size_t LONGEST_RECORD = 65536;

// The number behind "\n    send " in the table of the queues.
std::optional<std::uint64_t> countIn(std::string_view message, std::string_view queue) {
    const std::size_t place = message.find(queue);
    if (place == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view rest = message.substr(place + queue.size());
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    const auto number = Text::number(rest.substr(0, rest.find(' ')), 0, UINT32_MAX);
    return number ? std::optional(static_cast<std::uint64_t>(*number)) : std::nullopt;
}

std::optional<std::uint64_t> waitingIn(const TraceRecord& record) {
    if (!record.is(DaemonWords::QUEUE_ADDS) && !record.is(DaemonWords::QUEUE_REMOVES)) {
        return std::nullopt;
    }
    const auto early = countIn(record.message, DaemonWords::EARLY_ROW);
    const auto waiting = countIn(record.message, DaemonWords::WAITING_ROW);
    return early && waiting ? std::optional(*early + *waiting) : std::nullopt;
}

bool isMailed(const TraceRecord& record) {
    return record.is(DaemonWords::MESSAGE_DONE) &&
           record.message.find(DaemonWords::COMPLETED) != std::string_view::npos;
}

}  // namespace

void DayBook::takeTrace(std::string_view text, bool whole) {
    rest_ = whole ? rest_ + std::string(text) : std::string(text);
    const bool ended = rest_.ends_with('\n');
    const auto records = traceRecords(rest_);
    bool gap = !whole;
    for (const TraceRecord& record : records) {
        const auto time = record.time();
        if (!time || (!ended && &record == &records.back())) {
            continue;
        }
        const std::int64_t seconds = *time / SECOND;
        begin_ = begin_ ? begin_ : seconds;
        Step& step = at(seconds);
        step.gap = step.gap || std::exchange(gap, false);
        step.received += record.is(DaemonWords::MESSAGE_COMES) ? std::uint64_t{1} : 0;
        step.mailed += isMailed(record) ? std::uint64_t{1} : 0;
        if (const auto waiting = waitingIn(record)) {
            takeWaiting(step, *waiting);
        }
    }
    const std::size_t kept = ended ? 0 : records.empty() ? rest_.size() : records.back().text.size();
    rest_.erase(0, rest_.size() - (kept > LONGEST_RECORD ? 0 : kept));
}

// "2026-11-21T01:20:11.103421+0000 3 128/0x8b000013 4096 OrvApp Encountered failure ..."
void DayBook::takeLog(const std::string& lines) {
    for (const std::string& line : Text::split(lines, '\n')) {
        const auto words = Text::split(line, ' ');
        const auto time = words.size() > 3 ? Moment::parse(words[0], 0) : std::nullopt;
        const std::size_t slash = time ? words[2].find('/') : std::string::npos;
        if (slash == std::string::npos) {
            continue;
        }
        const auto id = Text::number(words[2].substr(0, slash), 0, INT64_MAX);
        lastEntry_ = std::max(lastEntry_, static_cast<std::uint64_t>(id.value_or(0)));
        if (Text::number(words[2].substr(slash + 1), 0, UINT32_MAX) == std::int64_t{orv_log::kSendFailed.id}) {
            ++at(*time / SECOND).failed;
        }
    }
}

void DayBook::takeWaiting(Step& step, std::uint64_t count) {
    step.mostWaiting = std::max(step.mostWaiting.value_or(0), count);
    step.lastWaiting = count;
}

void DayBook::takeWaiting(std::uint64_t count, std::int64_t now) {
    takeWaiting(at(now), count);
}

// What waited last goes on waiting.
void DayBook::forget(std::int64_t first) {
    const auto end = steps_.lower_bound(first);
    for (auto step = steps_.begin(); step != end; ++step) {
        waitedBefore_ = step->second.mostWaiting ? std::optional(step->second.lastWaiting) : waitedBefore_;
    }
    steps_.erase(steps_.begin(), end);
}

Json DayBook::upTo(std::int64_t now) {
    const std::int64_t last = now / STEP;
    const std::int64_t first = last - STEPS + 1;
    forget(first);
    steps_.erase(steps_.upper_bound(last), steps_.end());  // of a clock that has been set back
    auto waiting = waitedBefore_;
    Json list = Json::array();
    for (std::int64_t number = first; number <= last; ++number) {
        const auto found = steps_.find(number);
        const Step step = found == steps_.end() ? Step{} : found->second;
        const auto most = step.mostWaiting ? step.mostWaiting : waiting;
        waiting = step.mostWaiting ? std::optional(step.lastWaiting) : waiting;
        Json one;
        one.set("time", jsonTime(Text::timestamp(number * STEP, 0))).set("failed", step.failed);
        one.setNull("received").setNull("mailed").setNull("waiting").set("gap", step.gap);
        if (begin_ && *begin_ / STEP <= number) {
            one.set("received", step.received).set("mailed", step.mailed);
        }
        if (most) {
            one.set("waiting", *most);
        }
        list.add(one);
    }
    return Json().set("step", STEP).set("steps", list);
}
