#include "switchctl/CallhomeTest.h"

#include "MessageCodes.h"
#include "platform/wire/ManagementWire.h"
#include "switchctl/DaemonLog.h"
#include "switchctl/Errors.h"
#include "switchctl/Management.h"
#include "switchctl/Rules.h"
#include "switchctl/Text.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>

namespace {

using Result = std::optional<std::uint32_t>;

constexpr std::array<const char*, 3> RESULT_NAMES = {"Passed", "Failed", "Cleared"};
constexpr std::uint32_t PASSED = 0;
constexpr std::uint32_t CLEARED = 2;

std::string nameOf(std::uint32_t result) {
    return result < RESULT_NAMES.size() ? RESULT_NAMES[result] : "unknown result " + std::to_string(result);
}

// The result of the next test of a profile, once it is there.
std::shared_ptr<const Result> watchResults(Session& session, const std::string& name) {
    auto result = std::make_shared<Result>();
    session.client.open(OperatorCode::WATCH_RESULTS, {}, [result, name](WireSpan body) {
        const auto results = TestResults::decode(body);
        for (const auto& one : results ? results->results : std::vector<TestResults::Result>()) {
            if (one.profile == name) {
                *result = one.status;
            }
        }
    });
    return result;
}

// A profile that the daemon does not know has no result ever. False when it cannot tell now, as it is reading its
// configuration.
bool refuseUnknown(Session& session, const std::string& name) {
    ProcessedInfo info;
    try {
        info = Management::processed(session);
    } catch (const Refused& error) {
        return error.responseStatus != ManagementStatus::UPDATING_PROFILES;
    }
    const bool known = std::ranges::any_of(info.profiles, [&](const auto& profile) { return profile.name == name; });
    if (!known) {
        throw Refused("orvApp has no profile " + name + ", so there is no result; see switchctl profile list");
    }
    return true;
}

// What the event log says, in brackets behind a reason.
std::string because(const DaemonLog& log) {
    const std::string text = log.lastText();
    return text.empty() ? "" : " (" + Text::oneLine(text) + ")";
}

std::string reasonOf(std::uint32_t result, const DaemonLog& log) {
    return result == PASSED ? "" : result == CLEARED ? "discarded with the queue" : log.lastText();
}

void tell(Session& session, const std::string& name, std::uint32_t result, const DaemonLog& log) {
    const std::string refusal = log.testRefusal(name);
    const std::string reason = refusal.empty() ? reasonOf(result, log) : refusal;
    session.print(Json().set("profile", name).set("status", 0).set("result", nameOf(result)).set("reason", reason),
                  refusal.empty() ? name + ": " + nameOf(result) + "\n" : "");
    if (!refusal.empty()) {
        throw Refused("refused: " + Text::oneLine(refusal));
    }
    if (result == CLEARED) {
        throw Refused("the test message for " + name + " was discarded with the queue");
    }
    if (result != PASSED) {
        throw Refused("the test message for " + name + " was not delivered" + because(log));
    }
}

}  // namespace

// What is wrong is written into the event log before the result, and the result may come before the response.
void callhomeTest(Session& session, const std::string& name) {
    Rules::profileName(name);
    const auto result = watchResults(session, name);
    const DaemonLog log(session);
    const auto response =
        Management::call(session, ManagementCode::TEST_PROFILE, TestProfileRequest{0, 0, name}.encode());
    Management::check(response);
    bool reading = false;
    if (!*result) {
        session.progress(name + ": accepted, waiting for the result\n");
        reading = !refuseUnknown(session, name);
    }
    if (!session.client.serveUntil([&] { return result->has_value(); })) {
        throw NoAnswer("no result for " + name + " in " + Text::seconds(session.client.timeout().count()) + " s; " +
                       (reading ? "orvApp is reading its configuration and sends the test afterwards"
                                : "its mail is still being tried") +
                       because(log));
    }
    tell(session, name, **result, log);
}
