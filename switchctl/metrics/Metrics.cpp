#include "switchctl/metrics/Metrics.h"

#include "switchctl/metrics/OpenMetrics.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <algorithm>

namespace {

using Type = OpenMetrics::Type;

double seconds(std::int64_t microseconds) {
    return static_cast<double>(microseconds) / static_cast<double>(SECOND);
}

void addState(OpenMetrics& out, const MetricFacts& facts) {
    const bool up = facts.started && (!facts.traces.system.alive || !facts.traces.system.stopped);
    out.family("orvapp_up", Type::GAUGE, "Whether the daemon has its name on the bus and has started.")
        .sample(up ? 1 : 0);
    if (facts.traces.started) {
        out.family("orvapp_start_time_seconds", Type::GAUGE, "When the daemon started.", "seconds")
            .sample(seconds(*facts.traces.started));
    }
}

// Each counts since the daemon's start.
struct Count {
    const char* key;
    const char* label;
};

double numberAt(const MetricFacts::LastProbe& probe, const char* key) {
    const auto found = probe.statistics.find(key);
    return found == probe.statistics.end()
               ? 0
               : static_cast<double>(Text::number(found->second, 0, UINT32_MAX).value_or(0));
}

void addProbe(OpenMetrics& out, const MetricFacts& facts) {
    if (!facts.probe) {
        return;
    }
    constexpr Count DISCARDS[] = {{DaemonWords::DELETED_FOR_SPACE, "space"},
                                  {DaemonWords::DELETED_FOR_FILE_LIMIT, "file_limit"},
                                  {DaemonWords::DELETED_FOR_TIME, "age"},
                                  {DaemonWords::DELETED_FOR_CLEAR, "cleared"},
                                  {DaemonWords::NOT_ADDED, "not_added"}};
    out.family("orvapp_counts_time_seconds", Type::GAUGE, "When the daemon last told its counts, to whoever asked it.",
               "seconds")
        .sample(seconds(facts.probe->time));
    out.family("orvapp_messages_received", Type::COUNTER, "Messages received, as last told.")
        .sample(numberAt(*facts.probe, DaemonWords::RECEIVED_ALL));
    out.family("orvapp_messages_mailed", Type::COUNTER, "Messages mailed, as last told.")
        .sample(numberAt(*facts.probe, DaemonWords::MAILED));
    out.family("orvapp_messages_repeated", Type::COUNTER, "Messages counted as repeats, as last told.")
        .sample(numberAt(*facts.probe, DaemonWords::RECEIVED_REPEATS));
    out.family("orvapp_messages_discarded", Type::COUNTER, "Messages thrown away, as last told.");
    for (const Count& one : DISCARDS) {
        out.sample(numberAt(*facts.probe, one.key), {{"reason", one.label}});
    }
}

void addQueue(OpenMetrics& out, const MetricFacts& facts) {
    constexpr const char* QUEUES[] = {QueueFiles::SEND, QueueFiles::DUPLICATE, QueueFiles::PERSIST};
    std::uint64_t bytes = 0;
    std::int64_t oldest = 0;
    for (const QueueEntry& entry : facts.queue.entries) {
        bytes += entry.allBytes();
        if (entry.queue == QueueFiles::SEND) {
            oldest = std::max(oldest, facts.now - entry.since());
        }
    }
    out.family("orvapp_queue_messages", Type::GAUGE, "Messages that have a file.");
    for (const char* const queue : QUEUES) {
        out.sample(static_cast<double>(std::ranges::count(facts.queue.entries, queue, &QueueEntry::queue)),
                   {{"queue", queue}});
    }
    out.family("orvapp_queue_bytes", Type::GAUGE, "Bytes of these files, attachments included.", "bytes")
        .sample(static_cast<double>(bytes));
    out.family("orvapp_queue_oldest_age_seconds", Type::GAUGE, "Age of the oldest message that waits; 0: none does.",
               "seconds")
        .sample(seconds(oldest));
    out.family("orvapp_queue_foreign_files", Type::GAUGE, "Files in the queue's directories that are none of its.")
        .sample(static_cast<double>(facts.queue.foreign.size()));
}

void addSending(OpenMetrics& out, const MetricFacts& facts) {
    out.family("orvapp_send_failures", Type::COUNTER, "Dialogues that failed, by stage; since the event log begins.");
    for (const auto& [stage, times] : facts.failures) {
        out.sample(static_cast<double>(times), {{"stage", stage}});
    }
    out.family("orvapp_recipients_refused", Type::COUNTER, "Recipients refused by a mail server; likewise.")
        .sample(static_cast<double>(facts.recipientsRefused));
    out.family("orvapp_recipients_given_up", Type::COUNTER, "Recipients dropped; likewise.")
        .sample(static_cast<double>(facts.log.recipientsGivenUp));
    out.family("orvapp_mails_given_up", Type::COUNTER, "Mails that nobody took; likewise.")
        .sample(static_cast<double>(facts.log.mailsGivenUp));
    out.family("orvapp_messages_not_queued", Type::COUNTER, "Messages refused by the queue or not restored; likewise.")
        .sample(static_cast<double>(facts.log.messagesNotQueued));
    const bool failing = facts.log.lastFailure && !facts.log.lastFailure->recovered;
    out.family("orvapp_send_failing", Type::GAUGE, "Whether the last dialogue failed.").sample(failing ? 1 : 0);
    const double left = facts.log.retry ? std::max(0.0, seconds(facts.log.retry->due - facts.now)) : 0;
    out.family("orvapp_retry_wait_seconds", Type::GAUGE, "Time to the next try; 0: none is waited for.", "seconds")
        .sample(left);
    if (facts.traces.send.lastTaken() > 0) {
        out.family("orvapp_last_success_time_seconds", Type::GAUGE, "When a mail server last took a mail.", "seconds")
            .sample(seconds(facts.traces.send.lastTaken()));
    }
}

void addCaptures(OpenMetrics& out, const MetricFacts& facts) {
    out.family("orvapp_captures_failed", Type::COUNTER, "Captures that failed; since the event log begins.")
        .sample(static_cast<double>(facts.capturesFailed));
    if (facts.traces.captureDone) {
        out.family("orvapp_last_capture_time_seconds", Type::GAUGE, "When a capture last ended well.", "seconds")
            .sample(seconds(*facts.traces.captureDone));
    }
}

void addFlash(OpenMetrics& out, const MetricFacts& facts) {
    if (facts.flashFree) {
        out.family("orvapp_flash_free_bytes", Type::GAUGE, "Room where the queue's files are.", "bytes")
            .sample(static_cast<double>(*facts.flashFree));
    }
    if (facts.bytesWritten) {
        out.family("orvapp_written_bytes", Type::COUNTER, "Written to storage by the daemon's process.", "bytes")
            .sample(static_cast<double>(*facts.bytesWritten));
    }
}

}  // namespace

std::string metricsText(const MetricFacts& facts) {
    OpenMetrics out;
    addState(out, facts);
    addProbe(out, facts);
    addQueue(out, facts);
    addSending(out, facts);
    addCaptures(out, facts);
    addFlash(out, facts);
    return out.text();
}
