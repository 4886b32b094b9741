// Faults of the configuration: status names each, and its remedies end it.
#include "testing/switchctl/ProblemsTest.h"

namespace {

TEST_F(Problems, ofTheConfigurationAreMendedByWhatStatusSays) {
    expectAllMended({
        {"feature-off", [&] { set("Default.Mfg.AllowCallhome=False"); }},
        {"service-off",
         [&] {
             done({"callhome", "setup", "--disable"});
         }},
        {"sender-missing", [&] { set("Global.Callhome.FromAddr=<undefined>"); }},
        {"server-missing",
         [&] {
             done({"callhome", "setup", "--smtp", "off"});
         }},
        {"profile-without-address", [&] { set("Global.CallhomeDB.Profile.0.NumberOfEmails=0"); }},
        {"profile-level", [&] { set("Global.CallhomeDB.Profile.0.Level=info"); }},
        {"profile-format", [&] { set("Global.CallhomeDB.Profile.0.Format=fulltext"); }},
        {"quota-zero", [&] { set("Global.Callhome.FilesAllowed=0"); }},
        {"quota-zero", [&] { set("Global.Callhome.FileSystemSpaceAllowed=much"); }},
        {"profiles-missing",
         [&] {
             done({"profile", "remove", "Ops"});
         }},
        {"configuration-unread",
         [&] {
             set("Global.Services.CallhomeEnable=False");
             done({"attr", "set", "Global.Services.CallhomeEnable=True"});
         }},
    });
}

TEST_F(Problems, ofASwitchWithoutAddressAreMendedByGivingItOne) {
    done({"attr", "set", "Global.Network.Eth.0.NF-IPAddress="});
    restart();

    expectMended({"switch-address-missing", [&] { happen(); }});

    // The start has made two of its own: the switch has powered up, and is online.
    EXPECT_TRUE(server_.waitUntil([&] { return server_.mailsTaken().size() == 3; }));
    EXPECT_THAT(server_.mailsTaken().back().text, testing::HasSubstr("something happens"));
}

}  // namespace
