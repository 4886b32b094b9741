#include "switchctl/ahead/ProbedProfile.h"

#include "switchctl/text/Text.h"
#include "switchctl/traces/DaemonWords.h"
#include "switchctl/traces/TraceRecords.h"

namespace {

ProbedProfile profileOf(std::string_view message) {
    ProbedProfile profile;
    for (const std::string& line : Text::split(std::string(message), '\n')) {
        const std::size_t equals = line.find(" = ");
        if (equals == std::string::npos) {
            continue;
        }
        const std::string key = Text::trim(line.substr(0, equals));
        const std::string value = line.substr(equals + 3);
        if (key.starts_with(DaemonWords::RECIPIENT)) {
            profile.recipients.push_back(value);
        }
        profile.values.emplace(key, value);  // texts of the operator's come first
    }
    profile.name = profile.values[DaemonWords::PROFILE_NAME];
    profile.level = profile.values[DaemonWords::PROFILE_LEVEL];
    profile.processed =
        static_cast<std::uint32_t>(Text::number(profile.values[DaemonWords::PROCESSED], 0, UINT32_MAX).value_or(0));
    return profile;
}

}  // namespace

std::vector<ProbedProfile> ProbedProfile::allAt(const std::vector<ahead::Trace>& traces, std::uint64_t moment) {
    std::vector<ProbedProfile> profiles;
    for (const ahead::Trace& trace : traces) {
        for (const TraceRecord& record : traceRecords(trace.text)) {
            if (trace.at == moment && record.is(DaemonWords::PROFILE)) {
                profiles.push_back(profileOf(record.message));
            }
        }
    }
    return profiles;
}
