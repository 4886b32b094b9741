#include "switchctl/DaemonLog.h"

#include "switchctl/Management.h"

#include <strings.h>

#include <algorithm>

namespace {

// Beyond every number that a log gives: nothing that is there already comes.
constexpr std::uint64_t FROM_NOW_ON = INT64_MAX;

bool isDaemons(const LogEntry& entry) {
    return strcasecmp(entry.component.c_str(), Management::DAEMON) == 0 && entry.level <= DaemonLog::OPERATOR_LEVEL;
}

}  // namespace

DaemonLog::DaemonLog(Session& session) {
    session.client.open(OperatorCode::FOLLOW_LOG, LogRequest{FROM_NOW_ON}.encode(),
                        [entries = entries_](WireSpan body) {
                            const auto page = LogPage::decode(body);
                            for (const LogEntry& entry : page ? page->entries : std::vector<LogEntry>()) {
                                if (isDaemons(entry)) {
                                    entries->push_back(entry);
                                }
                            }
                        });
}

bool DaemonLog::has(std::uint32_t number) const {
    return std::ranges::find(*entries_, number, &LogEntry::number) != entries_->end();
}

std::string DaemonLog::lastText() const {
    const auto last = std::find_if(entries_->rbegin(), entries_->rend(),
                                   [](const LogEntry& entry) { return entry.number != PROCESSED_REFUSAL; });
    return last == entries_->rend() ? "" : last->text;
}

std::string DaemonLog::textAbout(const std::string& subject, std::uint32_t first, std::uint32_t last) const {
    std::string text;
    for (const LogEntry& entry : *entries_) {
        if (entry.number >= first && entry.number <= last && entry.text.find(subject) != std::string::npos) {
            text = entry.text;
        }
    }
    return text;
}
