#include "switchctl/DaemonLog.h"

#include "switchctl/Management.h"

#include <strings.h>

#include <algorithm>
#include <iterator>

namespace {

// Beyond every number that a log gives: nothing that is there already comes.
constexpr std::uint64_t FROM_NOW_ON = INT64_MAX;

// A name may look like the rest of the text: only the whole text tells whose refusal it is.
struct TestRefusal {
    std::uint32_t number;
    const char* reason;
};

constexpr TestRefusal TEST_REFUSALS[] = {
    {0x8b000005, "the CallHome service is disabled"},
    {0x8b000006, "the SMTP addresses are defaults or disabled in the CallHome setup"},
    {0x8b000007, "the FromEmailAddress has not been configured in the CallHome setup"},
    {0x8b000008, "the CallHome service is updating configuration"},
};

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
    // A refusal to test is that of one profile, see testRefusal().
    const auto last = std::find_if(entries_->rbegin(), entries_->rend(), [](const LogEntry& entry) {
        return entry.number != PROCESSED_REFUSAL &&
               std::ranges::find(TEST_REFUSALS, entry.number, &TestRefusal::number) == std::end(TEST_REFUSALS);
    });
    return last == entries_->rend() ? "" : last->text;
}

std::string DaemonLog::testRefusal(const std::string& profile) const {
    std::string text;
    for (const LogEntry& entry : *entries_) {
        for (const TestRefusal& refusal : TEST_REFUSALS) {
            if (entry.number == refusal.number &&
                entry.text == "Unable to test profile " + profile + " because " + refusal.reason) {
                text = entry.text;
            }
        }
    }
    return text;
}
