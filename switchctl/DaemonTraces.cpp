#include "switchctl/DaemonTraces.h"

#include "host_root.h"
#include "switchctl/ProbeTrace.h"
#include "switchctl/SmtpReplies.h"
#include "switchctl/Text.h"
#include "switchctl/TraceFile.h"
#include "switchctl/TraceRecords.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>
#include <vector>

namespace {

constexpr const char* SEND_THREAD_TRACE = "/tmp/orv.out.SMTPClient";

bool isEnding(const TraceRecord& record) {
    return record.is(DaemonWords::THREAD_ENDS) || record.is(DaemonWords::SENDER_ENDS) ||
           record.is(DaemonWords::THREAD_GIVES_UP);
}

// A line about a file, with what the system said.
bool lacksDescriptors(const TraceRecord& record) {
    return record.message.find(DaemonWords::FILE_ERROR.text) != std::string_view::npos &&
           record.message.find(std::strerror(EMFILE)) != std::string_view::npos;
}

// "" where the system has no such file.
std::string contentOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

bool isDaemon(long process) {
    const bool there = process > 0 && (kill(static_cast<pid_t>(process), 0) == 0 || errno == EPERM);
    return there && contentOf("/proc/" + std::to_string(process) + "/comm") == "orvApp\n";
}

// From the system, where it has a file that tells, to the second.
std::optional<std::int64_t> startOfProcess(long process) {
    constexpr std::int64_t SECOND = 1000000;
    constexpr std::size_t START_FIELD = 19;  // behind the name, which is in brackets
    const std::string all = contentOf("/proc/stat");
    const std::size_t boot = all.find("\nbtime ");
    const std::string status = contentOf("/proc/" + std::to_string(process) + "/stat");
    const std::size_t name = status.rfind(") ");
    if (boot == std::string::npos || name == std::string::npos) {
        return std::nullopt;
    }
    const auto fields = Text::split(std::string_view(status).substr(name + 2), ' ');
    const auto bootTime = Text::number(Text::split(std::string_view(all).substr(boot + 7), '\n').front(), 0, INT64_MAX);
    const auto ticks = fields.size() > START_FIELD ? Text::number(fields[START_FIELD], 0, INT64_MAX) : std::nullopt;
    const long perSecond = sysconf(_SC_CLK_TCK);
    if (!bootTime || !ticks || perSecond <= 0) {
        return std::nullopt;
    }
    return (*bootTime + *ticks / perSecond) * SECOND;
}

void takeStart(const TraceRecord& record, DaemonTraces& traces) {
    if (record.is(DaemonWords::STARTED)) {
        // A daemon that gets the same number at each start, as in a container, is not the one before.
        const long process = traces.process;
        traces = DaemonTraces();
        traces.process = process;
        traces.started = record.time();
    } else if (record.is(DaemonWords::LOOKUPS_UNSENT)) {
        traces.lookupsUnsent = true;
    } else if (record.is(DaemonWords::READY_UNSENT)) {
        traces.readyUnsent = true;
    } else if (record.is(DaemonWords::CLOCK_STOPPED)) {
        traces.clockStopped = true;
    } else if (lacksDescriptors(record)) {
        traces.outOfDescriptors = true;
    }
}

void readMain(DaemonTraces& traces) {
    std::string text;
    if (TraceFile(ProbeTrace::mainFile()).readSince(text) < 0) {
        return;
    }
    const auto records = traceRecords(text);
    if (records.empty()) {
        return;
    }
    if (traces.process == 0) {
        traces.process = records.back().process;
    }
    for (const TraceRecord& record : records) {
        if (record.process == traces.process) {
            takeStart(record, traces);
        }
    }
    if (records.back().process == traces.process && records.back().is(DaemonWords::START_FAILED)) {
        traces.failedStart = Text::split(records.back().message, '\n').front();
    }
}

void readSendThread(DaemonTraces& traces) {
    std::string text;
    if (traces.process == 0 || TraceFile(host_root() + SEND_THREAD_TRACE).readSince(text) < 0) {
        return;
    }
    SmtpReplies replies;
    traces.sendThread = DaemonTraces::SendThread::SILENT;
    for (const TraceRecord& record : traceRecords(text)) {
        if (record.process == traces.process && record.time().value_or(INT64_MAX) >= traces.started.value_or(0)) {
            replies.take(record);
            traces.sendThread = isEnding(record) ? DaemonTraces::SendThread::ENDED : DaemonTraces::SendThread::RUNS;
        }
    }
    traces.repliesOutOfStep = replies.outOfStep();
}

}  // namespace

DaemonTraces DaemonTraces::read(long process) {
    DaemonTraces traces;
    traces.process = process;
    readMain(traces);
    readSendThread(traces);
    traces.alive = isDaemon(traces.process);
    if (!traces.started && traces.alive) {
        traces.started = startOfProcess(traces.process);
    }
    return traces;
}
