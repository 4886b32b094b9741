// What status finds wrong with the daemon's start and its configuration.
#include "testing/switchctl/HealthyFacts.h"

namespace {

std::function<void(StatusFacts&)> attribute(const char* key, const char* value) {
    return [=](StatusFacts& facts) { facts.attributes[key] = value; };
}

std::function<void(StatusFacts&)> field(const char* key, const char* value) {
    return [=](StatusFacts& facts) { facts.profiles[0].fields[key] = Attribute{key, 1, value}; };
}

std::function<void(StatusFacts&)> reading(std::int64_t seconds) {
    return [=](StatusFacts& facts) {
        facts.probe->config = 4;
        facts.traces.readBegun = NOW - seconds * SECOND;
    };
}

void addSpare(StatusFacts& facts) {
    facts.profiles.push_back(profileOf(
        "Night", {{"Level", "Warn"}, {"Format", "FullText"}, {"NumberOfEmails", "1"}, {"EmailList.0", "e@f"}}));
}

const ProblemCase SETUP[] = {
    {"nothing", [](StatusFacts&) {}, {}},
    {"no management address", attribute("Global.Network.Eth.0.NF-IPAddress", ""), {"blocked switch-address-missing"}},
    {"a management address that is none",
     attribute("Global.Network.Eth.0.NF-IPAddress", "0-"),
     {"blocked switch-address-missing"}},
    {"an address that an event told",
     [](StatusFacts& facts) {
         facts.attributes.erase("Global.Network.Eth.0.NF-IPAddress");
         facts.traces.addressTold = true;
     },
     {}},
    {"IPv6 alone",
     [](StatusFacts& facts) {
         facts.attributes["Global.Network.Eth.0.NF-IPAddress"] = "";
         facts.attributes["Global.Network.Eth.0.IPv6IPAddress"] = "2-20010DB8000000000000000000000001";
     },
     {}},
    {"the only profile without addresses",
     field("NumberOfEmails", "0"),
     {"blocked profile-without-address"},
     "the profile Ops has no address",
     "Profile.0.NumberOfEmails=1"},
    {"one of two without addresses",
     [](StatusFacts& facts) {
         addSpare(facts);
         facts.profiles[1].fields["NumberOfEmails"].value = "0";
     },
     {"failing profile-without-address"},
     "Night",
     "Profile.1.EmailList.0=ADDRESS"},
    {"the only profile of unknown level", field("Level", "info"), {"blocked profile-level"}, "\"info\""},
    {"one of two of unknown level",
     [](StatusFacts& facts) {
         addSpare(facts);
         facts.profiles[0].fields["Level"].value = "Loud";
     },
     {"failing profile-level"}},
    {"an unknown format", field("Format", "fulltext"), {"failing profile-format"}, "\"fulltext\""},
    {"the short form by name", field("Format", "Short"), {}},
    {"both servers on one address",
     [](StatusFacts& facts) {
         facts.attributes["Global.Callhome.NF-SMTPAddr1"] = "1-192.0.2.1";
         facts.attributes["Global.Callhome.SMTPEnable1"] = "True";
     },
     {"failing servers-same"},
     "192.0.2.1"},
    {"a second server on that address that is off", attribute("Global.Callhome.NF-SMTPAddr1", "1-192.0.2.1"), {}},
    {"a read that has begun", reading(2), {"blocked configuration-read"}},
    {"a read that does not end", reading(40), {"blocked configuration-stuck"}, " for 40 s ", "restart orvApp"},
    {"a read that was refused",
     [](StatusFacts& facts) {
         reading(2)(facts);
         facts.log.signs.push_back({LogDigest::Trouble::READ_HALTED, NOW - 1 * SECOND});
     },
     {"blocked configuration-stuck"}},
    {"a refusal of a read before",
     [](StatusFacts& facts) {
         reading(2)(facts);
         facts.log.signs.push_back({LogDigest::Trouble::READ_HALTED, NOW - 60 * SECOND});
     },
     {"blocked configuration-read"}},
    {"attributes that the daemon has not read",
     [](StatusFacts& facts) { facts.probe->condition = 55; },
     {"blocked configuration-unread"}},
};

const ProblemCase DAEMON[] = {
    {"a daemon that is not there",
     [](StatusFacts& facts) {
         facts.components.clear();
         facts.traces.system.alive = false;
     },
     {"down daemon-absent"}},
    {"one that has not registered",
     [](StatusFacts& facts) { facts.components.clear(); },
     {"down daemon-unregistered"},
     "process 17"},
    {"one that does not answer",
     [](StatusFacts& facts) { facts.noAnswer = "orvApp did not answer in 10 s"; },
     {"down daemon-silent"},
     "did not answer in 10 s"},
    {"one that somebody has stopped",
     [](StatusFacts& facts) {
         facts.noAnswer = "orvApp did not answer in 10 s";
         facts.traces.system.stopped = true;
     },
     {"down daemon-stopped"},
     "",
     "kill -CONT 17"},
    {"a start under way",
     [](StatusFacts& facts) {
         facts.components[0].state = ComponentState::READY;
         facts.traces.started = NOW - 3 * SECOND;
     },
     {"blocked start-under-way"}},
    {"a start that a part of the switch never answered",
     [](StatusFacts& facts) {
         facts.components[0].state = ComponentState::REGISTERED;
         facts.traces.started = NOW - 60 * SECOND;
     },
     {"blocked start-halted"},
     "for 60 s and is no further than registered"},
    {"another daemon on the same files",
     [](StatusFacts& facts) { facts.traces.system.other = 4711; },
     {"failing second-daemon"},
     "4711",
     "kill 4711"},
    {"a probe of another version",
     [](StatusFacts& facts) { facts.probe = StatusFacts::Probe(); },
     {"notice probe-unread"},
     "other words"},
    {"an event service that never answered",
     [](StatusFacts& facts) { facts.probe->queueOpen = false; },
     {"blocked event-service-silent"}},
};

TEST(DaemonProblems, areMendedThroughTheServiceManagerWhereItRunsTheDaemon) {
    StatusFacts facts = healthyFacts();
    facts.unit = "orvapp";
    facts.components.clear();
    facts.traces.system.alive = false;
    EXPECT_EQ(statusProblems(facts).front().remedy, "systemctl start orvapp");

    facts.traces.system.alive = true;
    EXPECT_EQ(statusProblems(facts).front().remedy, "systemctl restart orvapp");

    facts.unit = "";
    EXPECT_EQ(statusProblems(facts).front().remedy, "restart orvApp");
}

TEST(SetupProblems, areFoundInTheAttributesAndInWhatTheDaemonHasReadOfThem) {
    for (const ProblemCase& one : SETUP) {
        expectFound(one);
    }
}

TEST(DaemonProblems, areFoundInWhatTheSwitchAndTheSystemKnowOfIt) {
    for (const ProblemCase& one : DAEMON) {
        expectFound(one);
    }
}

}  // namespace
