#include "switchctl/queue/QueueFacts.h"

#include "platform/posix/Clock.h"
#include "switchctl/client/Management.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Second.h"

#include <algorithm>
#include <chrono>

namespace {

// One part of it. When nobody answers, nobody is asked again.
template <typename Step>
void part(QueueFacts& facts, const char* what, const Step& step) {
    if (!facts.silence.empty()) {
        facts.unknown.push_back(std::string(what) + " not known");
        return;
    }
    try {
        step();
    } catch (const NoAnswer& error) {
        facts.silence = error.what();
        facts.unknown.push_back(std::string(what) + " not known: " + error.what());
    } catch (const Refused& error) {
        facts.unknown.push_back(std::string(what) + " not known: " + error.what());
    }
}

// A daemon that hangs is not waited for as long as one that is asked to do something.
void askQueue(Session& session, StatusFacts& status) {
    if (status.daemon() == nullptr) {
        return;
    }
    const auto patience = session.client.timeout();
    session.client.timeout(std::min<OperatorClient::Milliseconds>(patience, std::chrono::seconds(2)));
    status.queue = Management::queue(session);
    session.client.timeout(patience);
}

// The order file is not written anew when a test message leaves: the daemon's own count bounds what it tells of them.
void boundTests(QueueFacts& facts) {
    if (!facts.status.queue) {
        return;
    }
    const auto listed = static_cast<std::uint64_t>(std::ranges::count_if(
        facts.files.entries, [](const QueueEntry& entry) { return entry.queue == QueueFiles::SEND && entry.listed; }));
    const std::uint64_t all = std::uint64_t{facts.status.queue->waiting} + facts.status.queue->open;
    facts.files.tests = std::min(facts.files.tests, all - std::min(all, listed));
}

}  // namespace

QueueInfo queueOnFlash(const QueueFiles& files, const DaemonTraces& traces) {
    // Tests have no file; how many there are still, only the daemon knows.
    std::uint64_t messages = 0;
    std::uint64_t bytes = 0;
    for (const QueueEntry& entry : files.entries) {
        const bool waits = entry.queue == QueueFiles::SEND && (entry.listed || !files.ordered);
        messages += waits ? 1 : 0;
        bytes += entry.allBytes();
    }
    const std::uint64_t open = messages > 0 && (traces.send.inDialogue() || traces.send.asked()) ? 1 : 0;
    return {static_cast<std::uint32_t>(bytes), static_cast<std::uint32_t>(messages - open),
            static_cast<std::uint32_t>(open)};
}

QueueFacts QueueFacts::gather(Session& session, StatusFacts::Ask ask) {
    QueueFacts facts;
    StatusFacts& status = facts.status;
    part(facts, "whether orvApp runs is", [&] {
        status.components =
            OperatorClient::decode<ComponentList>(session.client.call(OperatorCode::COMPONENTS)).components;
    });
    part(facts, "what the event log tells is", [&] { status.log = LogDigest::read(session); });
    if (ask == StatusFacts::Ask::DAEMON) {
        part(facts, "which message is open is", [&] { askQueue(session, status); });
    }
    status.traces = DaemonTraces::read(0);
    facts.files = QueueFiles::read();
    if (ask == StatusFacts::Ask::PASSIVE && status.daemon() != nullptr) {
        status.queue = queueOnFlash(facts.files, status.traces);
    }
    boundTests(facts);
    facts.unknown.insert(facts.unknown.end(), facts.files.unknown.begin(), facts.files.unknown.end());
    const timeval now = hostClock().calendar();
    status.now = std::int64_t{now.tv_sec} * SECOND + now.tv_usec;
    return facts;
}

void QueueFacts::throwSilence() const {
    if (!silence.empty()) {
        throw NoAnswer(silence);
    }
}
