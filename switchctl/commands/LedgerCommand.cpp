// ledger: whether every message that came is accounted for.
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/status/Ledger.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/JsonTime.h"
#include "switchctl/text/Text.h"

namespace {

using Verdict = Ledger::Verdict;

struct LedgerLine {
    const char* text;
    const char* name;  // in JSON
    std::int64_t Ledger::Counts::*count;
};

constexpr LedgerLine CAME[] = {
    {"received", "received", &Ledger::Counts::received},
    {"restored", "restored", &Ledger::Counts::restored},
};
constexpr LedgerLine WENT[] = {
    {"mailed", "mailed", &Ledger::Counts::mailed},
    {"repeats", "repeats", &Ledger::Counts::repeats},
    {"for space", "discardedForSpace", &Ledger::Counts::space},
    {"for files", "discardedForFileLimit", &Ledger::Counts::files},
    {"for age", "discardedForAge", &Ledger::Counts::age},
    {"cleared", "cleared", &Ledger::Counts::cleared},
    {"refused", "refused", &Ledger::Counts::refused},
    {"waiting", "waiting", &Ledger::Counts::waiting},
};
constexpr LedgerLine ASIDE[] = {
    {"", "tests", &Ledger::Counts::tests},
    {"", "open", &Ledger::Counts::open},
    {"", "parked", &Ledger::Counts::parked},
};

const char* wordOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::EXACT:
            return "exact";
        case Verdict::TWICE:
            return "counted twice";
        case Verdict::MISSING:
            return "missing";
        case Verdict::SURPLUS:
            return "surplus";
        default:
            return "unknown";
    }
}

bool addsUp(Verdict verdict) {
    return verdict == Verdict::EXACT || verdict == Verdict::TWICE;
}

std::string verdictLine(const Ledger& ledger) {
    const std::string came = std::to_string(ledger.counts->came());
    switch (ledger.verdict()) {
        case Verdict::EXACT:
            return "It adds up: " + came + " came, and all are accounted for.\n";
        case Verdict::TWICE:
            return "It adds up: " + came + " came; " + std::to_string(ledger.excess()) + " are counted twice.\n";
        case Verdict::MISSING:
            return "It does not add up: of " + came + " that came, " + std::to_string(-ledger.excess()) +
                   " are not accounted for.\n";
        default:
            return "It does not add up: " + came + " came, and " + std::to_string(ledger.excess()) +
                   " more are accounted for.\n";
    }
}

std::string whatItIs(const LedgerLine& line, const Ledger::Counts& counts) {
    if (line.count == &Ledger::Counts::received) {
        return ", tests among them: " + std::to_string(counts.tests);
    }
    if (line.count == &Ledger::Counts::mailed) {
        return ", kept to count their repeats: " + std::to_string(counts.parked);
    }
    return line.count == &Ledger::Counts::waiting ? ", open: " + std::to_string(counts.open) : "";
}

std::string sinceStart(const Ledger& ledger) {
    const std::string since = "since orvApp's start" + (ledger.started ? " at " + momentText(*ledger.started) : "");
    if (!ledger.counts) {
        return since + ": not known: " + Text::oneLine(ledger.unknown) + "\n";
    }
    std::vector<std::vector<std::string>> rows;
    const auto add = [&](const LedgerLine& line) {
        rows.push_back({std::string("  ") + line.text,
                        std::to_string(*ledger.counts.*line.count) + whatItIs(line, *ledger.counts)});
    };
    for (const LedgerLine& line : CAME) {
        add(line);
    }
    rows.push_back({"  of which"});
    for (const LedgerLine& line : WENT) {
        add(line);
    }
    std::string text = since + "\n" + Text::table(rows) + verdictLine(ledger);
    for (const std::string& remark : ledger.remarks) {
        text += Text::folded(remark, 80, "    ");
    }
    return text;
}

std::string overTheLog(const LogDigest& log) {
    if (log.firstId == 0) {
        return "over the whole event log: it is empty\n";
    }
    return "over the whole event log, since " + momentText(log.first) +
           (log.firstId > 1 ? "; older entries are gone" : "") + "\n" +
           Text::table(
               {{"  refused", std::to_string(log.refusals.size()) + " messages"},
                {"  not restored", std::to_string(log.lostFiles.size()) + " files"},
                {"  given up", std::to_string(log.mailsGivenUp) + " mails that nobody of a profile was to get, " +
                                   std::to_string(log.recipientsGivenUp) + " recipients"}}) +
           "not known: what was received, mailed, counted as a repeat or discarded before this\n"
           "start; orvApp counts it since its start alone. Mails given up count as mailed.\n";
}

Json startJson(const Ledger& ledger) {
    Json json;
    for (const LedgerLine& line : CAME) {
        json.set(line.name, *ledger.counts.*line.count);
    }
    for (const LedgerLine& line : WENT) {
        json.set(line.name, *ledger.counts.*line.count);
    }
    for (const LedgerLine& line : ASIDE) {
        json.set(line.name, *ledger.counts.*line.count);
    }
    return json.set("excess", ledger.excess());
}

Json logJson(const LogDigest& log) {
    Json json;
    json.setNull("since");
    if (log.firstId != 0) {
        json.set("since", jsonTime(momentText(log.first)));
    }
    return json.set("complete", log.firstId <= 1)
        .set("refused", std::uint64_t{log.refusals.size()})
        .set("notRestored", std::uint64_t{log.lostFiles.size()})
        .set("mailsGivenUp", log.mailsGivenUp)
        .set("recipientsGivenUp", log.recipientsGivenUp);
}

void ledger(Session& session) {
    const StatusFacts facts = StatusFacts::gather(session);
    const Ledger books = Ledger::of(facts);
    Json json;
    json.set("addsUp", addsUp(books.verdict()))
        .set("verdict", wordOf(books.verdict()))
        .setNull("since")
        .setNull("counts");
    if (books.started) {
        json.set("since", jsonTime(momentText(*books.started)));
    }
    if (books.counts) {
        json.set("counts", startJson(books));
    }
    json.set("unknown", books.unknown).set("remarks", books.remarks).set("log", logJson(facts.log));
    session.print(json, sinceStart(books) + overTheLog(facts.log));
    if (!facts.noAnswer.empty()) {
        throw NoAnswer(facts.noAnswer);
    }
    if (!addsUp(books.verdict())) {
        throw NeedsAPerson();
    }
}

}  // namespace

void addLedgerCommand(CommandTree& tree) {
    tree.command(tree.root(), "ledger", command_text::kLedger, ledger);
}
