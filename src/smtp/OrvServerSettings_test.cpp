// The mail servers' configuration: asking for it, taking it in, publishing the active server.
#include "smtp/OrvServerSettings.h"

#include "testing/profile/RecordingSwitch.h"
#include "testing/smtp/ClientFixture.h"

#include <gmock/gmock.h>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class OrvServerSettingsTest : public testing::Test {
protected:
    // The answer to a request, every entry's status being good; what the store is told then. Minus the unknown keys.
    int configure(const std::vector<DsEntry>& entries) {
        return settings_.apply(entries, std::vector<std::int32_t>(entries.size(), 0));
    }

    std::vector<std::string> takeLog() { return takeLogOf(recording_); }

    RecordingSwitch recording_;
    OrvSendState state_;
    OrvServerSettings settings_{recording_.store(), state_};
};

}  // namespace

TEST_F(OrvServerSettingsTest, isAskedForInOneRequestAndAnnouncedKeyByKey) {
    const auto request = [](const char* key) { return "log " + logLine(orv_log::kBuildDetailRequest, key); };

    EXPECT_EQ(settings_.request(), 0);

    EXPECT_THAT(recording_.takeSent(),
                ElementsAre(request("Global.Callhome.SMTPGatewayEnable"), request("Global.Callhome.NF-SMTPAddr"),
                            request("Global.Callhome.SMTPPort"), request("Global.Callhome.SMTPEnable"),
                            request("Global.Callhome.NF-SMTPAddr1"), request("Global.Callhome.SMTPPort1"),
                            request("Global.Callhome.SMTPEnable1"),
                            "bulk 1: Global.Callhome.SMTPGatewayEnable "
                            "Global.Callhome.NF-SMTPAddr Global.Callhome.SMTPPort "
                            "Global.Callhome.SMTPEnable Global.Callhome.NF-SMTPAddr1 "
                            "Global.Callhome.SMTPPort1 Global.Callhome.SMTPEnable1"));
}

TEST_F(OrvServerSettingsTest, setsBothServers) {
    EXPECT_EQ(configure(serverEntries("1-0A000001", 25, "3-mail.example.com", 2525)), 0);

    const OrvMailServers servers = settings_.servers();
    EXPECT_EQ(servers.primary.Kind, SmtpAddrMode::kIPv4);
    EXPECT_EQ(servers.primary.Address, "10.0.0.1");
    EXPECT_EQ(servers.primary.SecondForm, "0A000001");
    EXPECT_EQ(servers.primary.Port, 25u);
    EXPECT_TRUE(servers.primary.Enabled);
    EXPECT_EQ(servers.secondary.Kind, SmtpAddrMode::kHostName);
    EXPECT_EQ(servers.secondary.Address, "mail.example.com");
    EXPECT_EQ(servers.secondary.Port, 2525u);
    EXPECT_TRUE(servers.secondary.Enabled);
    EXPECT_EQ(&servers.active(), &servers.primary);
    EXPECT_TRUE(settings_.usable());
}

TEST_F(OrvServerSettingsTest, tracesEachValue) {
    configure(serverEntries("1-0A000001", 25, "3-mail%s", 2525));

    EXPECT_THAT(
        recording_.takeTraces(),
        ElementsAre("OrvCHClient processConfigBulk: name = Global.Callhome.SMTPGatewayEnable, type = 1, value = True\n",
                    "OrvCHClient processConfigBulk: name = Global.Callhome.NF-SMTPAddr, type = 1, value = 1-0A000001\n",
                    "OrvCHClient applyEntry: Global.Callhome.NF-SMTPAddr = 1-0A000001\n",
                    "OrvCHClient processConfigBulk: name = Global.Callhome.SMTPPort, type = 2, value = 25\n",
                    "OrvCHClient applyEntry: Global.Callhome.SMTPPort = 25\n",
                    "OrvCHClient processConfigBulk: name = Global.Callhome.SMTPEnable, type = 1, value = True\n",
                    "OrvCHClient applyEntry: Global.Callhome.SMTPEnable = True\n",
                    "OrvCHClient processConfigBulk: name = Global.Callhome.NF-SMTPAddr1, type = 1, value = 3-mail%s\n",
                    "OrvCHClient applyEntry: Global.Callhome.NF-SMTPAddr1 = 3-mail%s\n",
                    "OrvCHClient processConfigBulk: name = Global.Callhome.SMTPPort1, type = 2, value = 2525\n",
                    "OrvCHClient applyEntry: Global.Callhome.SMTPPort1 = 2525\n",
                    "OrvCHClient processConfigBulk: name = Global.Callhome.SMTPEnable1, type = 1, value = True\n",
                    "OrvCHClient applyEntry: Global.Callhome.SMTPEnable1 = True\n"));
}

TEST_F(OrvServerSettingsTest, takesPortsAsUnsignedDecimalNumbers) {
    const std::pair<const char*, std::uint32_t> rows[] = {
        {"25", 25}, {"", 0}, {"smtp", 0}, {" 2525x", 2525}, {"65536", 65536}, {"4294967295", 4294967295u}};
    for (const auto& [value, port] : rows) {
        configure({{"Global.Callhome.SMTPPort", 2, value}});
        EXPECT_EQ(settings_.servers().primary.Port, port) << value;
    }
}

TEST_F(OrvServerSettingsTest, enablesAServerForTheWordTrueOnly) {
    for (const char* value : {"true", "TRUE", "1", "", "True "}) {
        configure({{"Global.Callhome.SMTPEnable", 1, "True"}, {"Global.Callhome.SMTPEnable", 1, value}});
        EXPECT_FALSE(settings_.servers().primary.Enabled) << value;
    }
}

TEST_F(OrvServerSettingsTest, passesOverEntriesWithABadStatus) {
    configure(serverEntries("1-10.0.0.1", 25, "", 0));
    recording_.takeSent();
    recording_.takeTraces();
    const std::vector<DsEntry> entries{{"Global.Callhome.SMTPPort", 2, "1"},
                                       {"Global.Callhome.NF-SMTPAddr", 1, "1-10.0.0.9"},
                                       {"Global.Callhome.SMTPPort1", 2, "7"}};
    const std::vector<std::int32_t> statuses{1, -5, static_cast<std::int32_t>(0x80000034u)};

    EXPECT_EQ(settings_.apply(entries, statuses), 0);

    EXPECT_EQ(settings_.servers().primary.Port, 25u);
    EXPECT_EQ(settings_.servers().primary.Address, "10.0.0.1");
    EXPECT_EQ(settings_.servers().secondary.Port, 7u) << "52 in the low half is a good status";
    EXPECT_THAT(takeLog(), ElementsAre(logLine(orv_log::kBulkStatus, 0, 1u), logLine(orv_log::kBulkStatus, 1, -5u)));
    const std::string bad = "Error getting Message Queue Config from DS - bad status array";
    const std::string trace = "OrvCHClient processConfigBulk: ";
    EXPECT_THAT(
        recording_.takeTraces(),
        ElementsAre(trace + "name = Global.Callhome.SMTPPort, type = 2, value = 1\n", trace + bad + "[0] = 0x000001\n",
                    trace + "name = Global.Callhome.NF-SMTPAddr, type = 1, value = 1-10.0.0.9\n",
                    trace + bad + "[1] = 0xfffffffb\n",
                    trace + "name = Global.Callhome.SMTPPort1, type = 2, value = 7\n",
                    "OrvCHClient applyEntry: Global.Callhome.SMTPPort1 = 7\n"));
}

TEST_F(OrvServerSettingsTest, passesOverEntriesWithoutAStatus) {
    EXPECT_EQ(settings_.apply(std::vector<DsEntry>{{"Global.Callhome.SMTPPort", 2, "1"}}, {}), 0);

    EXPECT_EQ(settings_.servers().primary.Port, 0u);
}

TEST_F(OrvServerSettingsTest, countsUnknownKeysAndKeepsTheRest) {
    EXPECT_EQ(configure({{"Global.Callhome.SMTPPort2", 2, "odd%s"},
                         {"Global.Callhome.SMTPPort", 2, "25"},
                         {"global.callhome.smtpport", 2, "even"}}),
              -2);

    EXPECT_EQ(settings_.servers().primary.Port, 25u);
    EXPECT_THAT(takeLog(), ElementsAre(logLine(orv_log::kAttributeUnknown, "OrvCHClient", 86, "odd%s"),
                                       logLine(orv_log::kAttributeUnknown, "OrvCHClient", 86, "even")));
}

TEST_F(OrvServerSettingsTest, keepsAServerWhoseAddressIsOfNoKnownForm) {
    configure(serverEntries("1-10.0.0.1", 25, "", 0));

    configure({{"Global.Callhome.NF-SMTPAddr", 1, ""}});

    EXPECT_EQ(settings_.servers().primary.Address, "10.0.0.1");
}

TEST_F(OrvServerSettingsTest, publishesTheActiveServerInThreeWrites) {
    configure(serverEntries("1-0A000001", 25, "", 0));

    EXPECT_THAT(recording_.takeSent(), ElementsAre("set 12 1 1 Oper.Callhome.NF-ActiveSMTPAddr=1-0A000001",
                                                   "set 12 1 1 Oper.Callhome.ActiveSMTPAddr=0A000001",
                                                   "set 12 2 1 Oper.Callhome.ActiveSMTPPort=25"));
}

TEST_F(OrvServerSettingsTest, publishesThatThereIsNoServer) {
    configure(serverEntries("", 25, "", 0));

    EXPECT_THAT(recording_.takeSent(), ElementsAre("set 12 1 1 Oper.Callhome.NF-ActiveSMTPAddr=0-",
                                                   "set 12 1 1 Oper.Callhome.ActiveSMTPAddr=00000000",
                                                   "set 12 2 1 Oper.Callhome.ActiveSMTPPort=25"));
    EXPECT_FALSE(settings_.usable());
}

TEST_F(OrvServerSettingsTest, reportsEachWriteThatCannotBeSent) {
    recording_.refuseRequest(2);

    configure(serverEntries("1-0A000001", 25, "", 0));

    EXPECT_THAT(recording_.takeSent(), ElementsAre("set 12 1 1 Oper.Callhome.NF-ActiveSMTPAddr=1-0A000001",
                                                   "log " + logLine(orv_log::kActiveServerUnwritten),
                                                   "set 12 2 1 Oper.Callhome.ActiveSMTPPort=25"));
}

TEST_F(OrvServerSettingsTest, judgesTheAnswersToItsWrites) {
    EXPECT_EQ(settings_.processDsStatus(12, 0), 0);
    EXPECT_THAT(takeLog(), IsEmpty());

    for (const std::int32_t status : {1, 52, -1}) {
        EXPECT_EQ(settings_.processDsStatus(12, status), -1);
        EXPECT_THAT(takeLog(), ElementsAre(logLine(orv_log::kActiveServerUnwritten)));
    }
    EXPECT_EQ(settings_.processDsStatus(10, 0), -1);
    EXPECT_THAT(takeLog(), ElementsAre(logLine(orv_log::kClientIdUnknown, "processDsStatus", 10u)));
}

TEST_F(OrvServerSettingsTest, changesOverAndPublishesOnlyWhenTheOtherServerIsValid) {
    configure(serverEntries("1-0A000001", 25, "1-0A000002", 2525));
    recording_.takeSent();

    EXPECT_EQ(settings_.changeover(), 0);
    EXPECT_THAT(recording_.takeSent(), ElementsAre("set 12 1 1 Oper.Callhome.NF-ActiveSMTPAddr=1-0A000002",
                                                   "set 12 1 1 Oper.Callhome.ActiveSMTPAddr=0A000002",
                                                   "set 12 2 1 Oper.Callhome.ActiveSMTPPort=2525"));

    configure(serverEntries("1-0A000001", 25, "", 0));
    recording_.takeSent();
    EXPECT_EQ(settings_.changeover(), -1);
    EXPECT_THAT(recording_.takeSent(), IsEmpty());
}

TEST_F(OrvServerSettingsTest, isShownByTheProbe) {
    configure(serverEntries("0-", 25, "2-fe80::1", 2525));
    recording_.takeTraces();

    settings_.probe();

    EXPECT_THAT(recording_.takeTraces(), ElementsAre("OrvCHClient probe: OrvCHClient probe:\n"
                                                     "  SMTPGatewayEnabled = 1\n"
                                                     "  PrimarySMTPAddrMode = 1\n"
                                                     "  PrimarySMTPAddr = 0.0.0.0\n"
                                                     "  PrimarySMTPPort = 25\n"
                                                     "  PrimarySMTPEnable = 1\n"
                                                     "  SecondarySMTPAddrMode = 2\n"
                                                     "  SecondarySMTPAddr = fe80::1\n"
                                                     "  SecondarySMTPPort = 2525\n"
                                                     "  SecondarySMTPEnable = 1\n"
                                                     "  ActiveSMTPAddrMode = 2\n"
                                                     "  ActiveSMTPAddr = fe80::1\n"
                                                     "  ActiveSMTPPort = 2525\n\n"));
}

TEST_F(OrvServerSettingsTest, isAnsweredByTheProbeBeforeItHasBeenRead) {
    settings_.probe();

    EXPECT_THAT(recording_.takeTraces(), Contains(HasSubstr("  SMTPGatewayEnabled = 0\n"
                                                            "  PrimarySMTPAddrMode = 1\n"
                                                            "  PrimarySMTPAddr = 0.0.0.0\n"
                                                            "  PrimarySMTPPort = 0\n"
                                                            "  PrimarySMTPEnable = 0\n")));
}
