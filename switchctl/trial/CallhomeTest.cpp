#include "switchctl/trial/CallhomeTest.h"

#include "MessageCodes.h"
#include "platform/wire/ManagementWire.h"
#include "switchctl/client/Attributes.h"
#include "switchctl/client/Management.h"
#include "switchctl/input/ProfileTable.h"
#include "switchctl/log/DaemonLog.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/JsonTime.h"
#include "switchctl/text/Rules.h"
#include "switchctl/text/Text.h"
#include "switchctl/trial/TestDelay.h"
#include "switchctl/trial/TestRecipients.h"

#include <algorithm>
#include <array>
#include <chrono>
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
        const auto results = decodeFields<TestResults>(body);
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

// Those that the attributes name now; none for a profile that is not there.
std::vector<std::string> addressesOf(Session& session, const std::string& name) {
    const ProfileTable table(Attributes::list(session, ProfileTable::PREFIX));
    const auto* const profile = table.find(name);
    return profile == nullptr ? std::vector<std::string>() : profile->emails();
}

// One test: who was asked for, what the daemon writes about it, and what came of it.
class Test {
public:
    Test(Session& session, const std::string& name)
        : session_(session),
          name_(name),
          recipients_(name, addressesOf(session, name)),
          result_(watchResults(session, name)),
          log_(session) {}

    void run();

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds FIRST_LOOK{1};
    static constexpr std::chrono::seconds LATER_LOOKS{5};

    bool done() const { return result_->has_value(); }
    void await();
    void hear();
    void say(const std::string& line) const {
        if (!line.empty()) {
            session_.progress(name_ + ": " + line + "\n");
        }
    }
    void addDetails(Json& json) const;
    void tell(std::uint32_t result);
    [[noreturn]] void fail(std::uint32_t result) const;
    [[noreturn]] void giveUp(const std::string& limit);

    Session& session_;
    const std::string name_;
    TestRecipients recipients_;
    const std::shared_ptr<const Result> result_;
    const DaemonLog log_;
    TestDelay delay_;
    std::size_t heard_ = 0;  // entries of the log
    bool reading_ = false;   // its configuration
};

// What is wrong is written into the event log before the result, and the result may come before the response.
void Test::run() {
    const auto limit = session_.client.timeout();
    Management::check(
        Management::call(session_, ManagementCode::TEST_PROFILE, encodeFields(TestProfileRequest{0, 0, name_})));
    if (!done()) {
        session_.progress(name_ + ": accepted, waiting for the result\n");
        reading_ = !refuseUnknown(session_, name_);
        await();
        session_.client.timeout(limit);
    }
    hear();
    if (!done()) {
        giveUp(Text::seconds(limit.count()));
    }
    tell(**result_);
}

// What becomes known meanwhile is said at once.
void Test::await() {
    const auto deadline = Clock::now() + session_.client.timeout();
    auto nextLook = Clock::now() + FIRST_LOOK;
    while (!done() && Clock::now() < deadline) {
        const auto left = std::chrono::ceil<OperatorClient::Milliseconds>(std::min(deadline, nextLook) - Clock::now());
        session_.client.timeout(std::max(left, OperatorClient::Milliseconds(0)));
        if (session_.client.serveUntil([this] { return done() || log_.entries().size() > heard_; })) {
            hear();
        } else if (Clock::now() < deadline) {
            session_.client.timeout(std::chrono::ceil<OperatorClient::Milliseconds>(deadline - Clock::now()));
            say(reading_ ? "" : delay_.look(session_, name_));
            nextLook = Clock::now() + LATER_LOOKS;
        }
    }
}

void Test::hear() {
    for (; heard_ < log_.entries().size(); ++heard_) {
        say(recipients_.take(log_.entries()[heard_]));
    }
}

void Test::addDetails(Json& json) const {
    json.set("recipients", recipients_.json()).setNull("nextTry");
    if (const auto& next = recipients_.nextTry()) {
        json.set("nextTry", Json().set("server", next->server).set("time", jsonTime(momentText(next->time))));
    }
}

void Test::tell(std::uint32_t result) {
    recipients_.end(result == PASSED);
    const std::string refusal = log_.testRefusal(name_);
    const std::string reason = refusal.empty() ? reasonOf(result, log_) : refusal;
    Json json;
    json.set("profile", name_).set("status", 0).set("result", nameOf(result)).set("reason", reason);
    addDetails(json);
    session_.print(json, refusal.empty() ? name_ + ": " + nameOf(result) + "\n" : "");
    if (!refusal.empty()) {
        throw Refused("refused: " + Text::oneLine(refusal));
    }
    if (result != PASSED) {
        fail(result);
    }
    if (recipients_.nobody()) {
        throw Refused("the test message for " + name_ + " was mailed to nobody: the profile has no address");
    }
}

void Test::fail(std::uint32_t result) const {
    if (result == CLEARED) {
        throw Refused("the test message for " + name_ + " was discarded with the queue");
    }
    const std::string whom = recipients_.notReached();
    throw Refused("the test message for " + name_ +
                  (whom.empty() ? " was not delivered" + because(log_) : " did not reach " + whom));
}

void Test::giveUp(const std::string& limit) {
    const std::string why =
        reading_ ? "orvApp is reading its configuration and sends the test afterwards" : delay_.finalWord(session_);
    const std::string reason = "no result for " + name_ + " in " + limit + " s; " + why;
    Json json;
    json.set("error", "no answer").set("reason", reason).set("profile", name_);
    addDetails(json);
    session_.print(json, "");
    throw NoAnswer(reason);
}

}  // namespace

void callhomeTest(Session& session, const std::string& name) {
    Rules::profileName(name);
    Test(session, name).run();
}
