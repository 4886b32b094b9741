// Test support: what status would know of a switch on which nothing is wrong, and what the rules find in it.
#pragma once

#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Second.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

inline constexpr std::int64_t NOW = 1700000000 * SECOND;

inline ProfileTable::Profile profileOf(const std::string& name, const std::map<std::string, std::string>& fields) {
    ProfileTable::Profile profile{name, {}};
    for (const auto& [key, value] : fields) {
        profile.fields[key] = Attribute{key, 1, value};
    }
    return profile;
}

inline StatusFacts healthyFacts() {
    StatusFacts facts;
    facts.now = NOW;
    facts.components = {{"OrvApp", ComponentState::STARTED, 1, 2}};
    facts.attributes = {
        {"Default.Mfg.AllowCallhome", "True"},
        {"Global.Services.CallhomeEnable", "True"},
        {"Global.Callhome.NF-SMTPAddr", "1-192.0.2.1"},
        {"Global.Callhome.SMTPPort", "25"},
        {"Global.Callhome.SMTPEnable", "True"},
        {"Global.Callhome.NF-SMTPAddr1", "1-192.0.2.2"},
        {"Global.Callhome.SMTPPort1", "25"},
        {"Global.Callhome.SMTPEnable1", "False"},
        {"Global.Callhome.FromAddr", "sw@example.com"},
        {"Global.Callhome.FilesAllowed", "100"},
        {"Global.Callhome.FileSystemSpaceAllowed", "5120000"},
        {"Global.Network.Eth.0.NF-IPAddress", "1-C0A80001"},
        {"Oper.Callhome.NF-ActiveSMTPAddr", "1-192.0.2.1"},
        {"Oper.Callhome.ActiveSMTPPort", "25"},
    };
    facts.profiles = {profileOf("Ops", {{"Level", "Info"},
                                        {"Format", "Tsc1"},
                                        {"MaxSize", "2000000"},
                                        {"NumberOfEmails", "2"},
                                        {"EmailList.0", "a@b"},
                                        {"EmailList.1", "c@d"}})};
    facts.queue = QueueInfo{};
    facts.probe = StatusFacts::Probe{63, 0, true, true, {}, 0, 100, 5120000, 0};
    facts.traces.process = 17;
    facts.traces.started = NOW - 3600 * SECOND;
    facts.traces.startTraced = true;
    facts.traces.system.alive = true;
    facts.traces.system.started = facts.traces.started;
    facts.traces.sendThread = DaemonTraces::SendThread::RUNS;
    facts.traces.zone = "UTC";
    facts.flash.directory = "/flash";
    facts.flash.free = 1 << 20;
    return facts;
}

// "state id" of each, in order.
inline std::vector<std::string> idsOf(const StatusProblems& problems) {
    std::vector<std::string> ids;
    for (const StatusProblem& one : problems) {
        ids.push_back(std::string(nameOf(one.state)) + " " + one.id);
    }
    return ids;
}

// What is changed on a switch on which nothing is wrong, and what is found then.
struct ProblemCase {
    const char* name;
    std::function<void(StatusFacts&)> change;
    std::vector<std::string> ids;
    const char* inText = "";    // stands in the first one's text
    const char* inRemedy = "";  // and in its remedy
};

inline void expectFound(const ProblemCase& one) {
    StatusFacts facts = healthyFacts();
    one.change(facts);

    const StatusProblems problems = statusProblems(facts);

    EXPECT_THAT(idsOf(problems), testing::ElementsAreArray(one.ids)) << one.name;
    const StatusProblem first = problems.empty() ? StatusProblem() : problems.front();
    EXPECT_THAT(first.text, testing::HasSubstr(one.inText)) << one.name;
    EXPECT_THAT(first.remedy, testing::HasSubstr(one.inRemedy)) << one.name;
}
