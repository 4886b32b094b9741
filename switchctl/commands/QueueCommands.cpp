// queue: what waits, message by message.
#include "MessageCodes.h"
#include "switchctl/client/Management.h"
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/queue/QueueMails.h"
#include "switchctl/queue/QueueReport.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Question.h"

#include <algorithm>
#include <optional>

namespace {

struct ListArguments {
    bool passive = false;
};

void listQueue(Session& session, const ListArguments& arguments) {
    const auto ask = arguments.passive ? StatusFacts::Ask::PASSIVE : StatusFacts::Ask::DAEMON;
    const QueueFacts facts = QueueFacts::gather(session, ask);
    const std::vector<QueueRow> rows = queueRows(facts);
    session.print(queueJson(facts, rows), queueLines(facts, rows));
    facts.throwSilence();
}

const QueueEntry& entryCalled(const QueueFacts& facts, const std::string& name) {
    const QueueEntry* const entry = facts.files.find(name);
    if (entry == nullptr) {
        facts.throwSilence();
        throw Refused("there is no message " + name + " with a file in the queue; see switchctl queue list");
    }
    return *entry;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + Text::oneLine(word);
    }
    return text.empty() ? "nobody who still waits for it" : text;
}

std::string mailLines(const QueueMail& mail) {
    std::string lines = "\nThe mail for the profile " + Text::oneLine(mail.profile) + ", from " +
                        Text::oneLine(mail.sender) + " to " + joined(mail.recipients) + ":\n\n";
    for (std::string line : Text::split(mail.text, '\n')) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        lines += Text::oneLine(line) + "\n";
    }
    return lines;
}

Json mailJson(const QueueMail& mail) {
    return Json().set("profile", mail.profile).set("sender", mail.sender).set("recipients", mail.recipients);
}

// What is shown of the mails; a message that is none has no mail, and without the switch nobody knows them.
std::string addMails(Session& session, const QueueFacts& facts, const QueueEntry& entry, Json& json) {
    Json list = Json::array();
    std::string lines;
    if (facts.silence.empty() && entry.message && entry.message->whole()) {
        for (const QueueMail& mail : mailsOf(entry, mailMaker(session, facts))) {
            list.add(mailJson(mail).set("text", mail.text));
            lines += mailLines(mail);
        }
    }
    json.set("mails", list);
    return lines;
}

void showMessage(Session& session, const std::string& number) {
    const QueueFacts facts = QueueFacts::gather(session);
    const QueueEntry& entry = entryCalled(facts, number);
    const std::vector<QueueRow> rows = queueRows(facts);
    const QueueRow& row = *std::ranges::find(rows, &entry, &QueueRow::entry);
    Json json = messageJson(facts, row);
    const std::string mails = addMails(session, facts, entry, json);
    session.print(json, messageLines(facts, row) + mails);
    facts.throwSilence();
}

struct ExportArguments {
    std::optional<std::string> number;
    std::string directory;
};

std::vector<const QueueEntry*> chosen(const QueueFacts& facts, const std::optional<std::string>& number) {
    std::vector<const QueueEntry*> entries;
    if (number) {
        return {&entryCalled(facts, *number)};
    }
    for (const QueueRow& row : queueRows(facts)) {
        if (row.entry->message && row.entry->message->whole()) {
            entries.push_back(row.entry);
        }
    }
    return entries;
}

void exportQueue(Session& session, const ExportArguments& arguments) {
    const QueueFacts facts = QueueFacts::gather(session);
    const auto entries = chosen(facts, arguments.number);
    const MailMaker maker = mailMaker(session, facts);
    std::vector<QueueMail> mails;
    for (const QueueEntry* const entry : entries) {
        std::ranges::move(mailsOf(*entry, maker), std::back_inserter(mails));
    }
    Json list = Json::array();
    std::string lines;
    for (const ExportedMail& one : exportMails(std::move(mails), arguments.directory)) {
        list.add(mailJson(one.mail).set("message", one.mail.message).set("file", one.file));
        lines += Text::oneLine(one.file) + ": from " + Text::oneLine(one.mail.sender) + " to " +
                 joined(one.mail.recipients) + "\n";
    }
    const std::size_t left = arguments.number ? 0 : facts.files.entries.size() - entries.size();
    if (left > 0) {
        session.note(std::to_string(left) + " files are not whole and were left out; see switchctl queue list");
    }
    session.print(Json().set("exported", list), lines.empty() ? "nothing waits\n" : lines);
}

// A read of the configuration ends the wait for the next try.
void tryNow(Session& session) {
    const QueueInfo before = Management::queue(session);
    Json json;
    json.set("waiting", before.waiting).set("open", before.open);
    if (before.waiting == 0) {
        session.print(json.set("tried", false),
                      before.open == 0 ? "nothing waits\n" : "the only message is being tried\n");
        return;
    }
    const auto response = Management::request(session, ManagementCode::PROFILE_CHANGE);
    session.print(json.set("tried", true).set("status", response.status),
                  "done: orvApp reads its settings anew and then tries at once; waiting: " +
                      std::to_string(before.waiting) + "\n");
}

struct ClearArguments {
    bool yes = false;
};

void clearAfterQuestion(Session& session, const ClearArguments& arguments) {
    if (!arguments.yes && !Question::canAsk()) {
        throw UsageError("nobody can be asked whether the queue is to be cleared; write --yes");
    }
    const QueueInfo before = Management::queue(session);
    if (!arguments.yes &&
        !Question::yes(session.err, "Discard " + std::to_string(before.waiting + before.open) + " messages?")) {
        throw Refused("nothing was discarded");
    }
    const auto response = Management::request(session, ManagementCode::CLEAR_QUEUE);
    session.print(
        Json().set("status", response.status).set("waiting", before.waiting).set("open", before.open),
        "done: queued messages are discarded; there were " + std::to_string(before.waiting + before.open) + "\n");
}

}  // namespace

void addQueueCommands(CommandTree& tree) {
    const CommandTree::Group group = tree.group("queue", "The messages that wait, one by one");
    {
        auto [command, arguments] = tree.command(group, "list", command_text::kQueueList, listQueue);
        command.flag("--passive", "Ask orvApp nothing", arguments.passive);
    }
    tree.command(group, "show", command_text::kQueueShow, showMessage,
                 {"N", "", "Its number, as queue list has it", true});
    {
        auto [command, arguments] = tree.command(group, "export", command_text::kQueueExport, exportQueue);
        command.take({"N", "", "One message; without it all"}, arguments.number)
            .take({"--to", "DIR", "Where to; made if it is not there", true}, arguments.directory);
    }
    tree.command(group, "try", command_text::kQueueTry, tryNow);
    auto [command, arguments] = tree.command(group, "clear", command_text::kQueueClear, clearAfterQuestion);
    command.flag("--yes", "Do not ask", arguments.yes);
}
