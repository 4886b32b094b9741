// log: the switch's event log.
#include "switchctl/CommandTree.h"
#include "switchctl/Commands.h"
#include "switchctl/Errors.h"
#include "switchctl/Text.h"

#include <cstdio>

namespace {

struct LogArguments {
    bool follow = false;
    std::string since = "0";
    std::int64_t level = INT32_MAX;
};

std::string hexNumber(std::uint32_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", unsigned{number});
    return text;
}

// The id column holds the place in the log, which --since takes, and the message number.
std::string line(const LogEntry& entry) {
    return Text::timestamp(entry.seconds, entry.microseconds) + " " + std::to_string(entry.level) + " " +
           std::to_string(entry.id) + "/" + hexNumber(entry.number) + " " + std::to_string(entry.flags) + " " +
           (entry.component.empty() ? "-" : Text::oneLine(entry.component)) + " " + Text::oneLine(entry.text) + "\n";
}

Json json(const LogEntry& entry) {
    return Json()
        .set("time", Text::timestamp(entry.seconds, entry.microseconds))
        .set("level", entry.level)
        .set("id", entry.id)
        .set("number", hexNumber(entry.number))
        .set("flags", entry.flags)
        .set("component", entry.component)
        .set("text", entry.text);
}

std::uint64_t sinceFrom(const std::string& text) {
    const std::size_t slash = text.find('/');
    const auto id = Text::number(text.substr(0, slash), 0, INT64_MAX);
    const bool rest = slash == std::string::npos || Text::number(text.substr(slash + 1), 0, UINT32_MAX);
    if (!id || !rest) {
        throw UsageError("\"" + text + "\" is not an id; write it as log prints it: 17 or 17/0x8b000001");
    }
    return static_cast<std::uint64_t>(*id);
}

// Prints what is there already; returns the last id seen.
std::uint64_t printPresent(Session& session, const LogArguments& arguments) {
    LogRequest request{sinceFrom(arguments.since), 0, static_cast<std::int32_t>(arguments.level)};
    Json list = Json::array();
    for (bool more = true; more;) {
        const auto page =
            OperatorClient::decode<LogPage>(session.client.call(OperatorCode::READ_LOG, request.encode()));
        std::string lines;
        for (const LogEntry& entry : page.entries) {
            request.since = entry.id;
            if (!session.json) {
                lines += line(entry);
            } else if (arguments.follow) {
                lines += json(entry).dump() + "\n";
            } else {
                list.add(json(entry));
            }
        }
        session.write(lines);
        more = page.more && !page.entries.empty();
    }
    if (session.json && !arguments.follow) {
        session.print(Json().set("entries", list), "");
    }
    return request.since;
}

void follow(Session& session, const LogArguments& arguments) {
    const LogRequest request{printPresent(session, arguments)};
    session.client.open(OperatorCode::FOLLOW_LOG, request.encode(), [&](WireSpan body) {
        const auto page = LogPage::decode(body);
        for (const LogEntry& entry : page ? page->entries : std::vector<LogEntry>()) {
            if (entry.level <= arguments.level) {
                session.print(json(entry), line(entry));
            }
        }
    });
    session.client.serveForever();
}

void showLog(Session& session, const LogArguments& arguments) {
    if (arguments.follow) {
        follow(session, arguments);
    } else {
        printPresent(session, arguments);
    }
}

}  // namespace

void addLogCommands(CommandTree& tree) {
    auto [command, arguments] =
        tree.command(tree.root(), "log",
                     {"log [--follow] [--since ID] [--level N]", "Event log: time, level, id, flags, component, text",
                      "log --level 3 --since 17"},
                     showLog);
    command.flag("--follow", "Go on printing what is added", arguments.follow)
        .take({"--since", "ID", "Only what came after this id"}, arguments.since)
        .number({"--level", "N", "Only levels up to N; operators see 0, 2 and 3"}, arguments.level, 0, INT32_MAX);
}
