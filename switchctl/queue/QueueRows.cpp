#include "switchctl/queue/QueueRows.h"

#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Second.h"

#include <algorithm>
#include <array>

namespace {

// The daemon writes a file in several steps.
constexpr std::int64_t FRESH = 2 * SECOND;

constexpr std::array QUEUE_STATE_NAMES = {"waiting",   "open",         "parked",           "persistent",
                                          "left over", "half written", "never restorable", "unreadable"};

constexpr std::array MARKS = {
    "", "it was cleared and goes as soon as it is closed", "it goes for want of room as soon as it is closed",
    "it goes because of the file limit as soon as it is closed", "it goes because of its age as soon as it is closed"};

// The one that the send thread has; nothing where nobody says.
std::optional<std::uint32_t> openNumber(const QueueFacts& facts) {
    const StatusFacts& status = facts.status;
    return status.queue && status.queue->open > 0 ? status.traces.openedNumber : std::nullopt;
}

QueueState damagedState(const QueueFacts& facts, const QueueEntry& entry) {
    if (!entry.message) {
        return QueueState::UNREADABLE;
    }
    return facts.status.now - entry.written < FRESH ? QueueState::HALF_WRITTEN : QueueState::NEVER_RESTORABLE;
}

QueueState stateOf(const QueueFacts& facts, const QueueEntry& entry) {
    if (!entry.message || !entry.message->whole()) {
        return damagedState(facts, entry);
    }
    if (entry.queue != QueueFiles::SEND) {
        return entry.queue == QueueFiles::DUPLICATE ? QueueState::PARKED : QueueState::PERSISTENT;
    }
    if (openNumber(facts) == entry.number) {
        return QueueState::OPEN;
    }
    const bool fresh = facts.status.now - entry.written < FRESH;
    const bool runs = facts.status.daemon() != nullptr;
    return runs && !entry.listed && facts.files.ordered && !fresh ? QueueState::LEFT_OVER : QueueState::WAITING;
}

std::string remarkOn(const QueueRow& row, const QueueFacts& facts) {
    const QueueEntry& entry = *row.entry;
    switch (row.state) {
        case QueueState::UNREADABLE:
            return entry.unread;
        case QueueState::HALF_WRITTEN:
            return "it is being written, or the writing broke off just now: look again";
        case QueueState::NEVER_RESTORABLE:
            return entry.listed && facts.status.daemon() != nullptr
                       ? "its file is damaged: it is mailed only if orvApp has it in memory, not after a restart"
                       : "its file is damaged or is no message: it is never mailed";
        case QueueState::LEFT_OVER:
            return "orvApp does not list it: a restart puts it on the queue";
        default:
            break;
    }
    if (!entry.message->restorable()) {
        return "a capture: it is lost when orvApp restarts before it is mailed";
    }
    return entry.message->mark() < MARKS.size() ? MARKS[entry.message->mark()] : "";
}

bool isToBeMailed(const QueueRow& row) {
    return row.state == QueueState::WAITING || row.state == QueueState::OPEN;
}

// What was said to the message that was tried last: the first of the queue.
std::optional<QueueRow::Reply> lastReply(const QueueFacts& facts, const QueueEntry& entry) {
    const auto& servers = facts.status.log.mail.servers();
    if (servers.empty() || servers.back().time < entry.since()) {
        return std::nullopt;
    }
    const MailFailures::Server& last = servers.back();
    return QueueRow::Reply{last.server, last.response.empty() ? last.reason + ": " + last.description : last.response,
                           last.time};
}

void tellTries(const QueueFacts& facts, std::vector<QueueRow>& rows) {
    const QueueRow* before = nullptr;
    const auto open = std::ranges::find(rows, QueueState::OPEN, &QueueRow::state);
    if (open != rows.end()) {
        before = &*open;
        open->lastReply = lastReply(facts, *open->entry);
    }
    const LogDigest::Retry* const retry = pendingRetry(facts.status);
    for (QueueRow& row : rows) {
        if (row.state != QueueState::WAITING) {
            continue;
        }
        if (before != nullptr) {
            row.after = before->entry->name();
        } else {
            row.nextTry = retry != nullptr ? std::optional(retry->due) : std::nullopt;
            row.lastReply = lastReply(facts, *row.entry);
        }
        before = &row;
    }
}

}  // namespace

const char* nameOf(QueueState state) {
    return QUEUE_STATE_NAMES[static_cast<std::size_t>(state)];
}

std::vector<QueueRow> queueRows(const QueueFacts& facts) {
    std::vector<QueueRow> rows;
    for (const QueueEntry& entry : facts.files.entries) {
        QueueRow row;
        row.entry = &entry;
        row.state = stateOf(facts, entry);
        row.remark = remarkOn(row, facts);
        rows.push_back(std::move(row));
    }
    std::ranges::stable_sort(rows, std::greater(), isToBeMailed);
    tellTries(facts, rows);
    return rows;
}

std::string recipientWords(char mark) {
    switch (mark) {
        case OrvCHEnvelope::kDelivered:
            return "delivered";
        case OrvCHEnvelope::kGivenUp:
            return "given up";
        case OrvCHEnvelope::kRefusedOnce:
            return "refused for now, tried once more";
        case OrvCHEnvelope::kRefusedTwice:
            return "refused twice";
        default:
            return "waiting";
    }
}

std::uint64_t repeatsOf(const QueueEntry& entry) {
    if (!entry.message) {
        return 0;
    }
    const std::int64_t counted = std::max<std::int32_t>(entry.message->message().duplicateCount(), 0);
    return static_cast<std::uint64_t>(counted) + entry.message->pendingRepeats();
}
