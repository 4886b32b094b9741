#include "switchctl/log/DaemonLog.h"

#include "catalogue/OrvEventCatalogue.h"
#include "switchctl/client/Management.h"

#include <algorithm>
#include <optional>

namespace {

// Beyond every number that a log gives: nothing that is there already comes.
constexpr std::uint64_t FROM_NOW_ON = INT64_MAX;

constexpr OrvLogKind TEST_REFUSALS[] = {orv_log::kTestServiceDisabled, orv_log::kTestNoServer, orv_log::kTestNoSender,
                                        orv_log::kTestUpdating};

bool isForOperators(const LogEntry& entry) {
    return Management::isDaemon(entry.component) && entry.level <= kOrvLogWarning;
}

std::optional<OrvCatalogueMatch> catalogued(const LogEntry& entry) {
    return orvRecognise(entry.level, entry.number, entry.text);
}

bool isTestRefusal(const OrvCatalogueMatch& match) {
    return std::ranges::any_of(TEST_REFUSALS, [&](const OrvLogKind& kind) { return match.is(kind); });
}

}  // namespace

DaemonLog::DaemonLog(Session& session) {
    session.client.open(OperatorCode::FOLLOW_LOG, encodeFields(LogRequest{FROM_NOW_ON}),
                        [entries = entries_](WireSpan body) {
                            const auto page = decodeFields<LogPage>(body);
                            for (const LogEntry& entry : page ? page->entries : std::vector<LogEntry>()) {
                                if (isForOperators(entry)) {
                                    entries->push_back(entry);
                                }
                            }
                        });
}

bool DaemonLog::has(const OrvLogKind& kind) const {
    return std::ranges::any_of(*entries_, [&](const LogEntry& entry) {
        const auto match = catalogued(entry);
        return match && match->is(kind);
    });
}

std::string DaemonLog::lastText() const {
    // A refusal to test is that of one profile, see testRefusal().
    const auto last = std::find_if(entries_->rbegin(), entries_->rend(), [](const LogEntry& entry) {
        const auto match = catalogued(entry);
        return !match || (!match->is(orv_log::kProcessedUpdating) && !isTestRefusal(*match));
    });
    return last == entries_->rend() ? "" : last->text;
}

std::string DaemonLog::testRefusal(const std::string& profile) const {
    std::string text;
    for (const LogEntry& entry : *entries_) {
        const auto match = catalogued(entry);
        if (match && isTestRefusal(*match) && match->argument(0) == profile) {
            text = entry.text;
        }
    }
    return text;
}
