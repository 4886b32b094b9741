#include "box/search/Judge.h"

#include "box/Timeline.h"
#include "box/search/QueueFiles.h"
#include "catalogue/OrvEventCatalogue.h"
#include "catalogue/OrvLogEntries.h"
#include "platform/wire/Wire.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace box {

namespace {

constexpr Judge::Rule kRules[] = {
    {"catalogue", "each entry of the daemon's is in its catalogue"},
    {"known", "each mail is of an event that there was"},
    {"one dialogue", "one dialogue at a time"},
    {"doubles", "no mail comes twice, but for one at each end of a life, and where a reply or a call went wrong"},
    {"files", "the order file lists what exists, and what exists is listed"},
    {"main thread", "the main thread waits in its poll only"},
    {"leaves", "after the faults have ended nothing waits any more"},
};

// The queue of a life is open by then.
constexpr Time kOpen = 10 * kSecond;

// The number behind "event number "; -1 when there is none.
std::int64_t eventIn(const std::string& text) {
    const std::size_t at = text.find(Judge::kEventText);
    return at == std::string::npos ? -1 : std::strtoll(text.c_str() + at + sizeof Judge::kEventText - 1, nullptr, 10);
}

}  // namespace

std::span<const Judge::Rule> Judge::rules() {
    return kRules;
}

void Judge::published(std::uint32_t event) {
    events_.resize(std::max<std::size_t>(events_.size(), event + 1));
    Event& known = events_[event];
    known.published = static_cast<std::uint8_t>(std::min(known.published + 1, 255));
}

void Judge::mailTaken(const Facts& facts, const Mail& mail) {
    if (facts.openDialogues != 1) {
        broken(facts, "one dialogue", std::to_string(facts.openDialogues) + " dialogues at a time");
    }
    const std::int64_t event = eventIn(mail.text);
    if (event < 0 || std::ranges::find(mail.to, kOperator) == mail.to.end()) {
        return;
    }
    if (static_cast<std::size_t>(event) >= events_.size()) {
        broken(facts, "known", "a mail of an event that there never was");
        return;
    }
    Event& known = events_[static_cast<std::size_t>(event)];
    known.mailed = static_cast<std::uint8_t>(std::min(known.mailed + 1, 255));
    checkDoubles(facts, known);
}

void Judge::logged(const Facts& facts, const LogEntry& entry) {
    const bool isDaemons = (entry.component == "OrvApp" || entry.component.empty()) && entry.flags == kOrvOwnEntryFlags;
    if (!isDaemons) {
        return;
    }
    const auto match = orvFindInCatalogue(entry.level, entry.number, entry.text);
    if (!match) {
        broken(facts, "catalogue", "an entry that is not in the catalogue: " + entry.text);
        return;
    }
    excuses_.logged(*match);
}

// A start lists directories by a command, which is prescribed; a poll that was interrupted is tried again after a
// millisecond.
void Judge::mainWaits(const Facts& facts, std::string_view call) {
    if (call != "poll" && call != "waitid" && call != "nanosleep") {
        broken(facts, "main thread", "the main thread waits in " + std::string(call));
    }
}

void Judge::stepped(const Facts& facts) {
    if (facts.now < later(facts.lifeBegan, kOpen)) {
        return;
    }
    excuses_.memoryFailed(facts.memoryFailed);
    const std::string problem = queueFilesProblem(facts.root, excuses_);
    if (!problem.empty()) {
        broken(facts, "files", problem);
    }
}

void Judge::finished(const Facts& facts) {
    const unsigned waiting = waitingEntries(facts.root);
    if (waiting > 0) {
        broken(facts, "leaves", std::to_string(waiting) + " entries wait for ever");
    }
}

// Each end of a life, each reply that did not come as it should, and each failure of the machine's may have one mail
// sent once more.
void Judge::checkDoubles(const Facts& facts, Event& event) {
    if (event.mailed > event.published + event.excess) {
        ++event.excess;
        ++doubled_;
    }
    if (doubled_ > facts.lives - 1 + facts.troubles + facts.failedCalls + facts.failedAllocations) {
        broken(facts, "doubles", "a mail comes twice");
    }
}

void Judge::broken(const Facts& facts, const char* rule, const std::string& how) {
    const std::string text = std::string(rule) + ": " + how;
    problem_ = problem_.empty() ? timeText(facts.now) + ": " + text : problem_;
    news_.push_back(text);
}

std::vector<std::string> Judge::takeNews() {
    return std::exchange(news_, {});
}

void Judge::encode(WireWriter& out) const {
    out.u32(doubled_).text32(problem_).u32(static_cast<std::uint32_t>(events_.size()));
    for (const Event& event : events_) {
        out.u16(static_cast<std::uint16_t>(event.published << 8 | event.mailed)).u16(event.excess);
    }
}

void Judge::decode(WireReader& in) {
    doubled_ = in.u32();
    problem_ = in.text32();
    events_.resize(in.u32());
    for (Event& event : events_) {
        const std::uint16_t both = in.u16();
        event = {static_cast<std::uint8_t>(both >> 8), static_cast<std::uint8_t>(both),
                 static_cast<std::uint8_t>(in.u16())};
    }
}

}  // namespace box
