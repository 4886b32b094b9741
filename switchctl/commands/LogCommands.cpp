// log: the switch's event log.
#include "platform/posix/Clock.h"
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/log/LogFilter.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/JsonTime.h"
#include "switchctl/text/Moment.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <cstdio>
#include <optional>
#include <utility>

namespace {

struct LogArguments {
    bool follow = false;
    bool all = false;
    bool explain = false;
    std::optional<std::string> since;
    std::optional<std::string> until;
    std::int64_t lines = 0;  // 0: as many as there are
    std::int64_t level = INT32_MAX;
    std::optional<std::string> component;
    std::string words;
};

std::string hexNumber(std::uint32_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", unsigned{number});
    return text;
}

// What it means and what to do, where the catalogue has it.
std::string explanationLines(const LogEntry& entry) {
    const auto row = rowOf(entry);
    if (!row) {
        return "";
    }
    const std::string remedy = row->row.remedy;
    return Text::folded("cause: " + std::string(row->row.cause), 80, "    ") +
           (remedy.empty() ? "" : Text::folded("remedy: " + remedy, 80, "    "));
}

// The id column holds the place in the log, which --since takes, and the message number.
std::string line(const LogEntry& entry, bool explain) {
    return Text::timestamp(entry.seconds, entry.microseconds) + " " + std::to_string(entry.level) + " " +
           std::to_string(entry.id) + "/" + hexNumber(entry.number) + " " + std::to_string(entry.flags) + " " +
           (entry.component.empty() ? "-" : Text::oneLine(entry.component)) + " " + Text::oneLine(entry.text) + "\n" +
           (explain ? explanationLines(entry) : "");
}

Json json(const LogEntry& entry, bool explain) {
    Json object;
    object.set("time", jsonTime(Text::timestamp(entry.seconds, entry.microseconds)))
        .set("level", entry.level)
        .set("id", entry.id)
        .set("number", hexNumber(entry.number))
        .set("flags", entry.flags)
        .set("component", entry.component)
        .set("text", entry.text);
    const auto row = explain ? rowOf(entry) : std::nullopt;
    if (explain) {
        object.set("cause", row ? row->row.cause : "").set("remedy", row ? row->row.remedy : "");
    }
    return object;
}

// "17", "17/0x8b000001".
std::optional<std::uint64_t> idIn(const std::string& text) {
    const std::size_t slash = text.find('/');
    const auto id = Text::number(text.substr(0, slash), 0, INT64_MAX);
    const bool rest = slash == std::string::npos || Text::number(text.substr(slash + 1), 0, UINT32_MAX);
    return id && rest ? std::optional(static_cast<std::uint64_t>(*id)) : std::nullopt;
}

// Either of the two that an end of the log can be given by.
void takeEnd(const std::string& text, std::uint64_t& id, std::int64_t& time) {
    if (const auto number = idIn(text)) {
        id = *number;
        return;
    }
    const timeval now = hostClock().calendar();
    const auto moment = Moment::parse(text, std::int64_t{now.tv_sec} * SECOND + now.tv_usec);
    if (!moment) {
        throw UsageError(
            "\"" + text +
            "\" is not an id; write it as log prints it: 17 or 17/0x8b000001; nor is it a time: " + Moment::FORMS);
    }
    time = *moment;
}

LogFilter filterOf(const LogArguments& arguments) {
    LogFilter filter;
    if (arguments.since) {
        takeEnd(*arguments.since, filter.sinceId, filter.sinceTime);
    }
    if (arguments.until) {
        takeEnd(*arguments.until, filter.untilId, filter.untilTime);
    }
    filter.level = arguments.level;
    filter.component = arguments.component;
    filter.words = arguments.words;
    return filter;
}

// Prints the log as it is read; programs get routine entries, too.
class LogPrinter {
public:
    LogPrinter(Session& session, const LogArguments& arguments)
        : session_(session), arguments_(arguments), filter_(filterOf(arguments)) {}

    // What is there already; returns the last id seen.
    std::uint64_t printPresent();
    // One that has come.
    void printNew(const LogEntry& entry) {
        if (wants(entry)) {
            session_.print(json(entry, arguments_.explain), line(entry, arguments_.explain));
        }
    }

private:
    bool wants(const LogEntry& entry);
    void add(const LogEntry& entry);
    std::uint64_t readLast();
    std::uint64_t readAll();

    Session& session_;
    const LogArguments& arguments_;
    LogFilter filter_;
    std::uint64_t leftOut_ = 0;
    Json list_ = Json::array();
    std::string lines_;
};

bool LogPrinter::wants(const LogEntry& entry) {
    if (!filter_.wants(entry)) {
        return false;
    }
    const bool quiet = !arguments_.all && !session_.json && isRoutine(entry);
    leftOut_ += quiet ? 1 : 0;
    return !quiet;
}

void LogPrinter::add(const LogEntry& entry) {
    if (!session_.json) {
        lines_ += line(entry, arguments_.explain);
    } else if (arguments_.follow) {
        lines_ += json(entry, arguments_.explain).set("schema", Session::SCHEMA).dump() + "\n";
    } else {
        list_.add(json(entry, arguments_.explain));
    }
}

std::uint64_t LogPrinter::readLast() {
    LogReader reader(session_);
    const auto count = static_cast<std::size_t>(arguments_.lines);
    const std::uint64_t last = reader.lastId();
    for (const LogEntry& entry :
         reader.last(count, [&](const LogEntry& one) { return one.id <= last && wants(one); })) {
        add(entry);
    }
    session_.write(lines_);
    return last;
}

std::uint64_t LogPrinter::readAll() {
    LogReader reader(session_);
    std::uint64_t since = filter_.sinceId;
    for (bool more = true; more;) {
        const LogPage page = reader.page(since, arguments_.level);
        for (const LogEntry& entry : page.entries) {
            since = entry.id;
            if (wants(entry)) {
                add(entry);
            }
        }
        session_.write(std::exchange(lines_, ""));
        more = page.more && !page.entries.empty() && since < filter_.untilId;
    }
    return since;
}

std::uint64_t LogPrinter::printPresent() {
    const std::uint64_t last = arguments_.lines > 0 ? readLast() : readAll();
    if (session_.json && !arguments_.follow) {
        session_.print(Json().set("entries", list_), "");
    }
    if (leftOut_ > 0) {
        session_.note(std::to_string(leftOut_) + " routine entries left out; --all shows them");
    }
    return last;
}

void showLog(Session& session, const LogArguments& arguments) {
    LogPrinter printer(session, arguments);
    const std::uint64_t last = printer.printPresent();
    if (!arguments.follow) {
        return;
    }
    session.client.open(OperatorCode::FOLLOW_LOG, encodeFields(LogRequest{last}), [&](WireSpan body) {
        const auto page = decodeFields<LogPage>(body);
        for (const LogEntry& entry : page ? page->entries : std::vector<LogEntry>()) {
            printer.printNew(entry);
        }
    });
    session.client.serveForever();
}

}  // namespace

void addLogCommands(CommandTree& tree) {
    auto [command, arguments] = tree.command(tree.root(), "log", command_text::kLog, showLog);
    command.flag("--follow", "Go on printing what is added", arguments.follow)
        .number({"-n,--lines", "N", "Only the last N"}, arguments.lines, 1, INT32_MAX)
        .take({"--since", "ID|TIME", "Only what came after this id, or from then on"}, arguments.since)
        .take({"--until", "ID|TIME", "Only what came up to it"}, arguments.until)
        .number({"--level", "N", "Only levels up to N; operators see 0, 2 and 3"}, arguments.level, 0, INT32_MAX)
        .take({"--component", "NAME", "Only its entries; - for those of none"}, arguments.component)
        .take({"--grep", "TEXT", "Only entries with this text, in any case"}, arguments.words)
        .flag("--explain", "Cause and remedy under each", arguments.explain)
        .flag("--all", "Routine entries of orvApp, too", arguments.all)
        .exclusive("--follow", "--until");
}
