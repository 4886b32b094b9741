// doctor: everything that status knows, and what the mail servers say when they are asked.
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/doctor/DoctorReport.h"
#include "switchctl/doctor/Visitor.h"
#include "switchctl/status/StatusReport.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/status/StatusWatch.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Steady = VisitRecord::Clock;
using std::chrono::milliseconds;

using Records = std::vector<std::shared_ptr<VisitRecord>>;

// A daemon that does not answer leaves the rest of the time to the mail servers.
constexpr int SWITCH_PART = 3;
// How late a visit may end that keeps to its time.
constexpr milliseconds GRACE(200);
constexpr std::chrono::seconds PROGRESS_STEP(1);

struct DoctorArguments {
    bool offline = false;
};

// What ends it before its time stands in its last stage.
void visit(const VisitPlan& plan, VisitRecord& record, Steady::time_point deadline) {
    try {
        Visitor(plan, record, deadline).run();
    } catch (const std::exception& error) {
        record.add({VisitStage::Kind::CONNECT, VisitStage::Outcome::FAILED, plan.shown, error.what(), ""});
        record.finish(std::nullopt);
    }
}

// A thread each. One that a name's resolver holds is left behind: what it may still touch, it shares.
Records beginVisits(const std::vector<VisitPlan>& plans, Steady::time_point deadline) {
    Records records;
    for (const VisitPlan& plan : plans) {
        ServerVisit begun;
        begun.server = plan.shown;
        begun.second = plan.second;
        begun.byName = plan.server.Kind == SmtpAddrMode::kHostName;
        auto record = std::make_shared<VisitRecord>(std::move(begun));
        std::thread([plan, record, deadline] { visit(plan, *record, deadline); }).detach();
        records.push_back(std::move(record));
    }
    return records;
}

void tell(Session& session, const std::string& text) {
    if (!session.json) {
        session.note(text);
    }
}

// What each is waiting for, where that is something else than before.
void tellProgress(Session& session, const Records& records, std::vector<std::string>& told) {
    told.resize(records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        const std::string text = records[i]->progress();
        if (!text.empty() && text != told[i]) {
            tell(session, records[i]->visit().server + ": " + text);
            told[i] = text;
        }
    }
}

void awaitVisits(Session& session, const Records& records, Steady::time_point deadline) {
    std::vector<std::string> told;
    for (const auto& record : records) {
        while (!record->waitUntil(std::min(deadline, Steady::now() + PROGRESS_STEP)) && Steady::now() < deadline) {
            tellProgress(session, records, told);
        }
    }
}

OutsideFacts askOutside(Session& session, const StatusFacts& facts, Steady::time_point deadline, milliseconds limit) {
    const auto plans = VisitPlan::of(facts);
    for (const VisitPlan& plan : plans) {
        tell(session, "asking the mail server " + plan.shown + "; no mail is sent");
    }
    const Records records = beginVisits(plans, deadline);
    awaitVisits(session, records, deadline + GRACE);
    OutsideFacts outside;
    outside.seconds = std::chrono::ceil<std::chrono::seconds>(limit).count();
    for (const auto& record : records) {
        outside.visits.push_back(record->visit());
    }
    return outside;
}

void doctor(Session& session, const DoctorArguments& arguments) {
    const milliseconds limit = session.client.timeout();
    const auto deadline = Steady::now() + limit;
    if (!arguments.offline) {
        session.client.timeout(std::max(limit / SWITCH_PART, milliseconds(1)));
    }
    StatusFacts facts = StatusFacts::gather(session);
    if (!arguments.offline) {
        facts.outside = askOutside(session, facts, deadline, limit);
    }
    const StatusProblems problems = statusProblems(facts);
    Json json = statusJson(facts, problems);
    std::string lines = statusLines(facts, problems);
    json.setNull("servers");
    if (facts.outside) {
        json.set("servers", visitsJson(*facts.outside));
        lines += visitLines(*facts.outside);
    }
    session.print(json, Colour::isWanted(session.out) ? Colour::heading(lines, shadeOf(problems)) : lines);
    endWithStatus(facts, problems);
}

}  // namespace

void addDoctorCommand(CommandTree& tree) {
    auto [command, arguments] = tree.command(tree.root(), "doctor", command_text::kDoctor, doctor);
    command.flag("--offline", "Ask nobody outside the switch", arguments.offline);
}
