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

void readLog(Session& session, MetricFacts& facts) {
    facts.log = LogDigest::read(session, [&facts](const OrvCatalogueMatch& entry, std::uint64_t times) {
        if (entry.is(orv_log::kSendFailed)) {
            facts.failures[entry.argument(2)] += times;
        }
        facts.recipientsRefused += entry.is(orv_log::kRecipientRefused) ? times : 0;
        facts.capturesFailed += entry.is(orv_log::kCaptureFailed) ? times : 0;
    });
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
