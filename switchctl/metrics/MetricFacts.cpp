#include "switchctl/metrics/MetricFacts.h"

#include "platform/posix/Clock.h"
#include "switchctl/client/Management.h"
#include "switchctl/status/FlashFacts.h"
#include "switchctl/text/Second.h"
#include "switchctl/traces/ProbeTrace.h"
#include "switchctl/traces/TraceFile.h"
#include "switchctl/traces/TraceRecords.h"

#include <algorithm>
#include <fstream>

namespace {

void askForNames(Session& session, MetricFacts& facts) {
    const auto list = OperatorClient::decode<ComponentList>(session.client.call(OperatorCode::COMPONENTS));
    const auto daemon = std::ranges::find_if(
        list.components, [](const ComponentList::Component& one) { return Management::isDaemon(one.name); });
    facts.registered = daemon != list.components.end();
    facts.started = facts.registered && daemon->state == ComponentState::STARTED;
}

void takeEntry(const LogEntry& entry, MetricFacts& facts) {
    const auto found =
        Management::isDaemon(entry.component) ? orvRecognise(entry.level, entry.number, entry.text) : std::nullopt;
    if (!found) {
        return;
    }
    if (found->is(orv_log::kSendFailed)) {
        ++facts.failures[found->argument(2)];
    }
    facts.recipientsRefused += found->is(orv_log::kRecipientRefused) ? std::uint64_t{1} : 0;
    facts.capturesFailed += found->is(orv_log::kCaptureFailed) ? std::uint64_t{1} : 0;
}

void readLog(Session& session, MetricFacts& facts) {
    const std::uint64_t scale = LogDigest::timeScale();
    LogRequest request{0, 0, LogDigest::MAX_LEVEL};
    for (bool more = true; more;) {
        const auto page =
            OperatorClient::decode<LogPage>(session.client.call(OperatorCode::READ_LOG, request.encode()));
        for (const LogEntry& entry : page.entries) {
            request.since = entry.id;
            facts.log.take(entry, scale);
            takeEntry(entry, facts);
        }
        more = page.more && !page.entries.empty();
    }
}

// The last whole one that this process has traced.
void findProbe(MetricFacts& facts) {
    std::string text;
    if (TraceFile(ProbeTrace::mainFile()).readSince(text) < 0) {
        return;
    }
    for (const TraceRecord& record : traceRecords(text)) {
        if (record.process == facts.traces.process && record.is(DaemonWords::STATISTICS) && record.time()) {
            facts.probe = {*record.time(), ProbeTrace::valuesIn(record.text, DaemonWords::STATISTICS)};
        }
    }
}

void readWritten(MetricFacts& facts) {
    std::ifstream io("/proc/" + std::to_string(facts.traces.process) + "/io");
    std::string key;
    for (std::uint64_t number = 0; facts.traces.process > 0 && io >> key >> number;) {
        if (key == "write_bytes:") {
            facts.bytesWritten = number;
        }
    }
}

}  // namespace

MetricFacts MetricFacts::gather(Session& session) {
    MetricFacts facts;
    askForNames(session, facts);
    readLog(session, facts);
    facts.traces = DaemonTraces::read(0);
    findProbe(facts);
    facts.queue = QueueFiles::read();
    facts.flashFree = FlashFacts::read().free;
    readWritten(facts);
    const timeval now = hostClock().calendar();
    facts.now = std::int64_t{now.tv_sec} * SECOND + now.tv_usec;
    return facts;
}
