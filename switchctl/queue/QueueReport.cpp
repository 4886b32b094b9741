#include "switchctl/queue/QueueReport.h"

#include "mesg/OrvMesgNumbers.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/JsonTime.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <ctime>

namespace {

using Rows = std::vector<std::vector<std::string>>;

constexpr const char* INDENT = "        ";

// The time of day; another day's with its date.
std::string clockText(std::int64_t time, std::int64_t now) {
    const std::string then = momentText(time);
    const std::size_t date = then.find('T');
    const std::string clock = then.substr(date + 1, 8);
    return momentText(now).starts_with(then.substr(0, date)) ? clock : then.substr(0, date) + " " + clock;
}

std::string nextWords(const QueueRow& row, std::int64_t now) {
    if (!row.after.empty()) {
        return "after " + row.after;
    }
    if (!row.nextTry) {
        return row.state == QueueState::OPEN ? "now" : "-";
    }
    return *row.nextTry <= now ? "due" : clockText(*row.nextTry, now);
}

std::string ageOf(const QueueRow& row, std::int64_t now) {
    return durationText(std::max<std::int64_t>(0, now - row.entry->since()));
}

std::string textOf(const QueueRow& row) {
    return row.entry->message ? Text::oneLine(row.entry->message->message().Text) : "";
}

// What a mail server said of a recipient since the message is there; null for nothing.
const SendTrace::Reply* about(const QueueFacts& facts, const QueueRow& row, const std::string& address) {
    const SendTrace::Reply* const reply = facts.status.traces.send.about(address);
    return reply != nullptr && reply->time >= row.entry->since() ? reply : nullptr;
}

struct Recipient {
    std::string address;
    char mark;
};

Recipient recipientOf(const std::string& marked) {
    const char mark = OrvCHEnvelope::markOf(marked);
    return {marked.substr(mark == OrvCHEnvelope::kNoMark ? 0 : 1), mark};
}

std::string envelopeLines(const QueueRow& row) {
    std::string lines;
    if (!row.entry->message) {
        return lines;
    }
    for (const auto& envelope : row.entry->message->message().Envelopes) {
        lines += INDENT + Text::oneLine(envelope->ProfileName) + ":";
        for (std::size_t i = 0; i < envelope->Recipients.size(); ++i) {
            const Recipient one = recipientOf(envelope->Recipients[i]);
            lines += (i == 0 ? " " : ", ") + Text::oneLine(one.address) + " " + recipientWords(one.mark);
        }
        lines += "\n";
    }
    return lines;
}

std::string replyWords(const QueueRow& row, std::int64_t now) {
    return row.lastReply ? row.lastReply->server + " at " + clockText(row.lastReply->time, now) + ": " +
                               Text::oneLine(row.lastReply->text)
                         : "";
}

std::string detailLines(const QueueRow& row, std::int64_t now) {
    std::string lines = envelopeLines(row);
    if (row.lastReply) {
        lines += INDENT + std::string("last reply: ") + replyWords(row, now) + "\n";
    }
    return row.remark.empty() ? lines : lines + INDENT + row.remark + "\n";
}

std::string counted(std::uint64_t number, const char* one, const char* more) {
    return std::to_string(number) + " " + (number == 1 ? one : more);
}

bool anythingIsTried(const std::vector<QueueRow>& rows) {
    return std::ranges::any_of(rows, [](const QueueRow& row) { return row.state == QueueState::OPEN || row.nextTry; });
}

// What stands beside the messages with files.
std::string footer(const QueueFacts& facts, const std::vector<QueueRow>& rows) {
    std::uint64_t bytes = 0;
    for (const QueueRow& row : rows) {
        bytes += row.entry->allBytes();
    }
    std::string lines =
        counted(rows.size(), "message", "messages") + " with a file, " + std::to_string(bytes) + " bytes\n";
    if (facts.files.tests > 0) {
        lines += counted(facts.files.tests, "test message", "test messages") + " beside them: tests have no file\n";
    }
    if (facts.files.parkedWithout > 0) {
        lines += counted(facts.files.parkedWithout, "message", "messages") +
                 " mailed and kept to count repeats, without a file\n";
    }
    for (const std::string& file : facts.files.foreign) {
        lines += "none of the queue's: " + Text::oneLine(file) + "\n";
    }
    const bool waiting =
        std::ranges::any_of(rows, [](const QueueRow& row) { return row.state == QueueState::WAITING; });
    if (facts.silence.empty() && facts.status.daemon() == nullptr) {
        lines += "orvApp does not run: what waits is tried after its start\n";
    } else if (waiting && facts.silence.empty() && !anythingIsTried(rows)) {
        lines += "nothing is being tried at this moment; switchctl status says whether that is to be mended\n";
    }
    for (const std::string& one : facts.unknown) {
        lines += Text::oneLine(one) + "\n";
    }
    return lines;
}

Json recipientJson(const QueueFacts& facts, const QueueRow& row, const std::string& marked) {
    const Recipient one = recipientOf(marked);
    const SendTrace::Reply* const reply = about(facts, row, one.address);
    Json json;
    json.set("address", one.address)
        .set("mark", one.mark == OrvCHEnvelope::kNoMark ? std::string() : std::string(1, one.mark))
        .set("state", recipientWords(one.mark))
        .setNull("lastReply");
    if (reply != nullptr) {
        json.set("lastReply", Json().set("text", reply->text).set("time", jsonTime(momentText(reply->time))));
    }
    return json;
}

Json profilesJson(const QueueFacts& facts, const QueueRow& row) {
    Json list = Json::array();
    for (const auto& envelope : row.entry->message->message().Envelopes) {
        Json recipients = Json::array();
        for (const std::string& marked : envelope->Recipients) {
            recipients.add(recipientJson(facts, row, marked));
        }
        list.add(Json()
                     .set("name", envelope->ProfileName)
                     .set("format", envelope->Type)
                     .set("maxSize", envelope->MaxSize)
                     .set("subject", envelope->Subject)
                     .set("recipients", recipients));
    }
    return list;
}

void addMessage(Json& json, const QueueFacts& facts, const QueueRow& row) {
    const OrvCHMesg& message = row.entry->message->message();
    json.set("time", message.Time)
        .set("id", message.ID)
        .set("text", message.Text)
        .setNull("level")
        .set("repeats", repeatsOf(*row.entry))
        .set("restorable", row.entry->message->restorable())
        .set("profiles", profilesJson(facts, row));
    if (message.logEvent() != nullptr) {
        json.set("level", orvLevelName(message.logEvent()->Level));
    }
    if (message.cronCapture() != nullptr) {
        json.set("attachments", message.cronCapture()->Attachments);
    }
}

std::string levelOf(const OrvCHMesg& message) {
    return message.logEvent() != nullptr ? orvLevelName(message.logEvent()->Level) : "none";
}

void addRecipients(const QueueFacts& facts, const QueueRow& row, Rows& rows) {
    for (const auto& envelope : row.entry->message->message().Envelopes) {
        rows.push_back({"profile", Text::oneLine(envelope->ProfileName) + ", format " + Text::oneLine(envelope->Type) +
                                       ", mails of at most " + std::to_string(envelope->MaxSize) + " bytes"});
        for (const std::string& marked : envelope->Recipients) {
            const Recipient one = recipientOf(marked);
            const SendTrace::Reply* const reply = about(facts, row, one.address);
            const std::string said = reply == nullptr ? ""
                                                      : "; last reply at " + clockText(reply->time, facts.status.now) +
                                                            ": " + Text::oneLine(reply->text);
            rows.push_back({"  recipient", Text::oneLine(one.address) + ": " + recipientWords(one.mark) + said});
        }
    }
}

void addContent(const QueueFacts& facts, const QueueRow& row, Rows& rows) {
    const OrvCHMesg& message = row.entry->message->message();
    rows.push_back({"id", Text::oneLine(message.ID) + ", level " + levelOf(message)});
    rows.push_back({"time", Text::oneLine(message.Time)});
    rows.push_back({"text", Text::oneLine(message.Text)});
    const std::string last =
        message.duplicateTime().empty() ? "" : ", the last at " + Text::oneLine(message.duplicateTime());
    rows.push_back({"repeats", std::to_string(repeatsOf(*row.entry)) + last});
    addRecipients(facts, row, rows);
    if (message.cronCapture() != nullptr) {
        for (const std::string& name : message.cronCapture()->Attachments) {
            rows.push_back({"attachment", Text::oneLine(message.cronCapture()->stagedPath(name))});
        }
    }
}

}  // namespace

std::string queueLines(const QueueFacts& facts, const std::vector<QueueRow>& rows) {
    const std::int64_t now = facts.status.now;
    Rows table = {{"NUMBER", "AGE", "BYTES", "STATE", "REPEATS", "NEXT TRY", "TEXT"}};
    for (const QueueRow& row : rows) {
        table.push_back({row.entry->name(), ageOf(row, now), std::to_string(row.entry->allBytes()), nameOf(row.state),
                         std::to_string(repeatsOf(*row.entry)), nextWords(row, now), textOf(row)});
    }
    const std::vector<std::string> lines = Text::split(Text::table(table), '\n');
    std::string text = rows.empty() ? "" : lines.front() + "\n";
    for (std::size_t number = 0; number < rows.size(); ++number) {
        text += lines[number + 1] + "\n" + detailLines(rows[number], now);
    }
    return text + footer(facts, rows);
}

Json queueJson(const QueueFacts& facts, const std::vector<QueueRow>& rows) {
    Json list = Json::array();
    for (const QueueRow& row : rows) {
        list.add(messageJson(facts, row));
    }
    return Json()
        .set("messages", list)
        .set("foreign", facts.files.foreign)
        .set("tests", facts.files.tests)
        .set("parkedWithoutFile", facts.files.parkedWithout)
        .set("unknown", facts.unknown);
}

std::string messageLines(const QueueFacts& facts, const QueueRow& row) {
    const std::int64_t now = facts.status.now;
    Rows rows = {{"message", std::to_string(row.entry->number) + " of the " + row.entry->queue + " queue"},
                 {"file", row.entry->path + ", " + std::to_string(row.entry->bytes) + " bytes, written " +
                              momentText(row.entry->written)},
                 {"state", nameOf(row.state) + (row.remark.empty() ? "" : ": " + row.remark)},
                 {"age", ageOf(row, now)},
                 {"next try", nextWords(row, now)},
                 {"last reply", row.lastReply ? replyWords(row, now) : "none that is known"}};
    if (row.entry->message) {
        addContent(facts, row, rows);
    }
    std::string text = Text::table(rows);
    for (const std::string& one : facts.unknown) {
        text += Text::oneLine(one) + "\n";
    }
    return text;
}

Json messageJson(const QueueFacts& facts, const QueueRow& row) {
    Json json;
    json.set("name", row.entry->name())
        .set("number", row.entry->number)
        .set("queue", row.entry->queue)
        .set("state", nameOf(row.state))
        .set("file", row.entry->path)
        .set("bytes", row.entry->allBytes())
        .set("written", jsonTime(momentText(row.entry->written)))
        .set("age", std::max<std::int64_t>(0, facts.status.now - row.entry->since()) / SECOND)
        .set("remark", row.remark)
        .setNull("nextTry")
        .setNull("after")
        .setNull("lastReply");
    if (row.nextTry) {
        json.set("nextTry", jsonTime(momentText(*row.nextTry)));
    }
    if (!row.after.empty()) {
        json.set("after", row.after);
    }
    if (row.lastReply) {
        json.set("lastReply", Json()
                                  .set("server", row.lastReply->server)
                                  .set("text", row.lastReply->text)
                                  .set("time", jsonTime(momentText(row.lastReply->time))));
    }
    if (row.entry->message) {
        addMessage(json, facts, row);
    }
    return json;
}
