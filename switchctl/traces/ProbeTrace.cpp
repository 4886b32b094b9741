#include "switchctl/traces/ProbeTrace.h"

#include "MessageCodes.h"
#include "host_root.h"
#include "switchctl/client/Management.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Text.h"
#include "switchctl/traces/TraceFile.h"
#include "switchctl/traces/TraceRecords.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace {

constexpr const char* MAIN_TRACE = "/tmp/orv.out.Main";

bool isLast(const TraceRecord& record) {
    return record.is(DaemonWords::PROBE_ENDS);
}

// Why there is no whole probe in what the daemon has traced since it was asked.
std::string whyNone(const std::string& text, const std::string& file) {
    if (std::ranges::any_of(traceRecords(text), isLast)) {
        return "orvApp has answered, but its probe is more than its trace " + file + " keeps";
    }
    std::string all;
    if (TraceFile(file).readSince(all) == 0 && all.ends_with(DaemonWords::FAREWELL)) {
        return "orvApp has answered, but traces nothing any more: it could not begin a new file " + file;
    }
    return "orvApp has answered, but traced nothing in " + file + "; is HSB_ROOT the daemon's?";
}

}  // namespace

std::string ProbeTrace::mainFile() {
    return host_root() + MAIN_TRACE;
}

std::optional<std::string> ProbeTrace::probeIn(std::string_view text) {
    const auto records = traceRecords(text);
    const auto first =
        std::ranges::find_if(records, [](const TraceRecord& record) { return record.is(DaemonWords::PROBE_BEGINS); });
    const auto last = std::find_if(first, records.end(), [&](const TraceRecord& record) {
        return isLast(record) && record.process == first->process;
    });
    if (last == records.end()) {
        return std::nullopt;
    }
    return std::string(first->text.data(), last->text.data() + last->text.size());
}

long ProbeTrace::processOf(const std::string& probe) {
    const auto records = traceRecords(probe);
    return records.empty() ? 0 : records.front().process;
}

std::map<std::string, std::string> ProbeTrace::valuesIn(std::string_view probe, const TraceWords& title) {
    std::map<std::string, std::string> values;
    const auto records = traceRecords(probe);
    const auto record = std::ranges::find_if(records, [&](const TraceRecord& one) { return one.is(title); });
    for (const std::string& line :
         record == records.end() ? std::vector<std::string>() : Text::split(record->message, '\n')) {
        const std::size_t equals = line.find(" = ");
        if (equals != std::string::npos) {
            values.insert_or_assign(Text::trim(line.substr(0, equals)), Text::trim(line.substr(equals + 3)));
        }
    }
    return values;
}

std::string ProbeTrace::ask(Session& session) {
    const std::string file = mainFile();
    TraceFile trace(file);
    trace.mark();
    session.client.call(OperatorCode::PROBE, encodeFields(ProbeRequest{Management::DAEMON, ProbeCode::DUMP_STATE}),
                        Management::DAEMON);
    std::string text;
    if (trace.readSince(text) < 0) {
        throw Refused("orvApp has answered, but its trace " + file + " cannot be read: " + std::strerror(errno));
    }
    auto probe = probeIn(text);
    if (!probe) {
        throw Refused(whyNone(text, file));
    }
    return std::move(*probe);
}
