#include "switchctl/status/Ledger.h"

#include "switchctl/text/Text.h"
#include "switchctl/traces/DaemonWords.h"

#include <algorithm>
#include <utility>

namespace {

using Counts = Ledger::Counts;

struct Account {
    const char* key;
    std::int64_t Counts::*count;
};

constexpr Account STATISTICS_ACCOUNTS[] = {
    {DaemonWords::RECEIVED_ALL, &Counts::received},
    {DaemonWords::RECEIVED_TESTS, &Counts::tests},
    {DaemonWords::RESTORED, &Counts::restored},
    {DaemonWords::MAILED, &Counts::mailed},
    {DaemonWords::RECEIVED_REPEATS, &Counts::repeats},
    {DaemonWords::DELETED_FOR_SPACE, &Counts::space},
    {DaemonWords::DELETED_FOR_FILE_LIMIT, &Counts::files},
    {DaemonWords::DELETED_FOR_TIME, &Counts::age},
    {DaemonWords::DELETED_FOR_CLEAR, &Counts::cleared},
    {DaemonWords::NOT_ADDED, &Counts::refused},
    {DaemonWords::OPEN_NOW, &Counts::open},
};

// Lists whose messages are still to be mailed; those that are open are counted apart.
constexpr const char* WAITING_LISTS[] = {DaemonWords::EARLY, DaemonWords::WAITING, DaemonWords::PERSISTENT};

std::optional<std::int64_t> numberAt(const std::map<std::string, std::string>& values, const char* key) {
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : Text::number(found->second, 0, UINT32_MAX);
}

// Nothing unless the probe has all of them.
std::optional<Counts> countsOf(const StatusFacts::Probe& probe) {
    Counts counts;
    for (const Account& account : STATISTICS_ACCOUNTS) {
        const auto number = numberAt(probe.statistics, account.key);
        if (!number) {
            return std::nullopt;
        }
        counts.*account.count = *number;
    }
    counts.waiting = counts.open;
    for (const char* const list : WAITING_LISTS) {
        const auto number = numberAt(probe.lists, list);
        if (!number) {
            return std::nullopt;
        }
        counts.waiting += *number;
    }
    counts.parked = probe.parked.value_or(0);
    return counts;
}

// A message that was mailed is counted once more when its repeats are mailed or wait for it, and when it is discarded
// or cleared while it is kept to count them.
std::int64_t mostCountedTwice(const Counts& counts) {
    return counts.repeats + counts.space + counts.cleared + counts.restored;
}

std::string whyUnknown(const StatusFacts& facts) {
    if (facts.daemon() == nullptr) {
        return "orvApp does not run: what it counted has gone with it";
    }
    for (const std::string* const why : {&facts.noAnswer, &facts.noProbe}) {
        if (!why->empty()) {
            return *why;
        }
    }
    return "orvApp's probe is of another version: it has not all the counts";
}

void addRemarks(Ledger& ledger) {
    switch (ledger.verdict()) {
        case Ledger::Verdict::TWICE:
            ledger.remarks.push_back(
                "counted twice: a mail that goes out once more for its repeats, or a message that is discarded after "
                "it "
                "was mailed, while its repeats are counted; orvApp does not count them apart");
            break;
        case Ledger::Verdict::MISSING:
            ledger.remarks.push_back(
                "what can explain it: orvApp had no memory for a message (switchctl log --grep memory), or it has been "
                "copying its queue to a standby");
            break;
        case Ledger::Verdict::SURPLUS:
            ledger.remarks.push_back("no cause is known; keep what switchctl callhome probe prints, and report it");
            break;
        default:
            break;
    }
    if (ledger.counts && ledger.refusalsTold && std::cmp_not_equal(*ledger.refusalsTold, ledger.counts->refused)) {
        ledger.remarks.push_back("the event log tells of " + std::to_string(*ledger.refusalsTold) +
                                 " refusals since the start, orvApp counts " + std::to_string(ledger.counts->refused) +
                                 ": entries have gone from the full log, or the clock was moved");
    }
}

}  // namespace

Ledger Ledger::of(const StatusFacts& facts) {
    Ledger ledger;
    ledger.counts = facts.probe ? countsOf(*facts.probe) : std::nullopt;
    ledger.unknown = ledger.counts ? "" : whyUnknown(facts);
    ledger.started = facts.traces.started;
    if (ledger.started) {
        ledger.refusalsTold = static_cast<std::uint64_t>(
            std::ranges::count_if(facts.log.refusals, [&](std::int64_t time) { return time >= *ledger.started; }));
    }
    addRemarks(ledger);
    return ledger;
}

Ledger::Verdict Ledger::verdict() const {
    if (!counts) {
        return Verdict::UNKNOWN;
    }
    if (excess() == 0) {
        return Verdict::EXACT;
    }
    if (excess() < 0) {
        return Verdict::MISSING;
    }
    return excess() <= mostCountedTwice(*counts) ? Verdict::TWICE : Verdict::SURPLUS;
}
