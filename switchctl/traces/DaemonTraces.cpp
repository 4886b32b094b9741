#include "switchctl/traces/DaemonTraces.h"

#include "host_root.h"
#include "switchctl/text/Text.h"
#include "switchctl/traces/ProbeTrace.h"
#include "switchctl/traces/SmtpReplies.h"
#include "switchctl/traces/TraceFile.h"
#include "switchctl/traces/TraceRecords.h"

#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr const char* SEND_THREAD_TRACE = "/tmp/orv.out.SMTPClient";
constexpr const char* CAPTURE_TRACE = "/tmp/orv.out.Capture";

bool isEnding(const TraceRecord& record) {
    return record.is(DaemonWords::THREAD_ENDS) || record.is(DaemonWords::SENDER_ENDS) ||
           record.is(DaemonWords::THREAD_GIVES_UP);
}

// A line about a file, with what the system said.
bool lacksDescriptors(const TraceRecord& record) {
    return record.message.find(DaemonWords::FILE_ERROR.text) != std::string_view::npos &&
           record.message.find(std::strerror(EMFILE)) != std::string_view::npos;
}

// What the system said, without its number.
std::string fileErrorIn(const TraceRecord& record) {
    const std::size_t place = record.message.find(DaemonWords::FILE_ERROR.text);
    if (place == std::string_view::npos) {
        return "";
    }
    const std::string_view words = record.message.substr(place + DaemonWords::FILE_ERROR.text.size());
    return std::string(words.substr(0, words.rfind('(')));
}

// "entry (5) opened in the send queue".
std::optional<std::uint32_t> openedIn(const TraceRecord& record) {
    const std::string_view rest = record.message.substr(DaemonWords::MESSAGE_OPENED.text.size());
    const auto number = Text::number(rest.substr(0, rest.find(')')), 0, UINT32_MAX);
    return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

// "Send SMTP client identity as hostname: switch".
std::string presentedIn(const TraceRecord& record) {
    const std::string_view rest = record.message.substr(DaemonWords::HELLO.text.size());
    const std::size_t colon = rest.find(": ");
    return colon == std::string_view::npos ? "" : Text::split(rest.substr(colon + 2), '\n').front();
}

// What the daemon is at.
void takeWork(const TraceRecord& record, DaemonTraces& traces) {
    if (record.is(DaemonWords::READ_BEGINS)) {
        traces.readBegun = record.time();
    } else if (record.is(DaemonWords::MESSAGE_OPENED)) {
        traces.opened = record.time();
        traces.openedNumber = openedIn(record);
    } else if (record.is(DaemonWords::ADDRESS_TOLD)) {
        traces.addressTold = true;
    } else if (record.is(DaemonWords::CAPTURE_DONE)) {
        traces.captureDone = record.time();
    } else if (std::string error = fileErrorIn(record); !error.empty()) {
        traces.fileError = std::move(error);
    }
}

void takeStart(const TraceRecord& record, DaemonTraces& traces) {
    if (record.is(DaemonWords::STARTED)) {
        // A daemon that gets the same number at each start, as in a container, is not the one before.
        const long process = traces.process;
        traces = DaemonTraces();
        traces.process = process;
        traces.started = record.time();
        traces.startTraced = traces.started.has_value();
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

// The second word of "11/14/2023 UTC 22:13:20.123".
std::string zoneOf(const TraceRecord& record) {
    const auto words = Text::split(record.head, ' ');
    return words.size() > 2 ? words[1] : "";
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
            takeWork(record, traces);
        }
    }
    traces.latest = records.back().time();
    traces.zone = zoneOf(records.back());
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
            traces.send.take(record);
            traces.presentedAs = record.is(DaemonWords::HELLO) ? presentedIn(record) : traces.presentedAs;
            traces.sendThread = isEnding(record) ? DaemonTraces::SendThread::ENDED : DaemonTraces::SendThread::RUNS;
        }
    }
    traces.repliesOutOfStep = replies.outOfStep();
}

void readCaptures(DaemonTraces& traces) {
    std::string text;
    if (traces.process == 0 || TraceFile(host_root() + CAPTURE_TRACE).readSince(text) < 0) {
        return;
    }
    for (const TraceRecord& record : traceRecords(text)) {
        if (record.process == traces.process && record.is(DaemonWords::CAPTURE_BEGINS)) {
            traces.captureBegun = record.time();
        }
    }
}

}  // namespace

DaemonTraces DaemonTraces::read(long process) {
    DaemonTraces traces;
    traces.process = process;
    readMain(traces);
    readSendThread(traces);
    readCaptures(traces);
    traces.system = DaemonProcess::find(traces.process);
    if (!traces.started) {
        traces.started = traces.system.started;
    }
    return traces;
}
