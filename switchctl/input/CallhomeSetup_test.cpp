#include "switchctl/input/CallhomeSetup.h"

#include "testing/switchctl/SwitchctlTest.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using CallhomeSetup = SwitchctlDaemonTest;

TEST_F(CallhomeSetup, setsEachAttributeAndHasItRead) {
    EXPECT_EQ(done({"callhome",        "setup",     "--from",           "sw01@example.com", "--reply-to",
                    "ops@example.com", "--smtp",    "1-127.0.0.1:2525", "--smtp2",          "2-[::1]:26",
                    "--enable",        "--contact", "A. Person",        "--contact-email",  "a@example.com",
                    "--phone",         "+1 555",    "--street",         "Street 1",         "--location",
                    "Rack 7"}),
              "Global.Callhome.FromAddr=sw01@example.com\n"
              "Global.Callhome.ReplyToAddr=ops@example.com\n"
              "Global.Snmp.Contact=A. Person\n"
              "Global.Callhome.EmailAddr=a@example.com\n"
              "Global.Callhome.PhoneNumber=+1 555\n"
              "Global.Callhome.StreetAddr=Street 1\n"
              "Global.Snmp.Location=Rack 7\n"
              "Global.Callhome.NF-SMTPAddr=1-127.0.0.1\n"
              "Global.Callhome.SMTPPort=2525\n"
              "Global.Callhome.SMTPEnable=True\n"
              "Global.Callhome.NF-SMTPAddr1=2-::1\n"
              "Global.Callhome.SMTPPort1=26\n"
              "Global.Callhome.SMTPEnable1=True\n"
              "Global.Services.CallhomeEnable=True\n");

    EXPECT_EQ(switch_.attribute("Global.Callhome.NF-SMTPAddr1"), "2-::1");
    EXPECT_EQ(switch_.attribute("Global.Services.CallhomeEnable"), "True");
    EXPECT_THAT(requestCodes(), ElementsAre(1));
}

TEST_F(CallhomeSetup, switchesOffWithoutForgettingTheAddress) {
    done({"callhome", "setup", "--smtp", "3-mail.example.com:25", "--enable"});

    EXPECT_EQ(done({"callhome", "setup", "--smtp", "off", "--disable"}),
              "Global.Callhome.SMTPEnable=False\nGlobal.Services.CallhomeEnable=False\n");

    EXPECT_EQ(switch_.attribute("Global.Callhome.NF-SMTPAddr"), "3-mail.example.com");
}

TEST_F(CallhomeSetup, setsTheStoreAlsoWhenTheDaemonDoesNotRun) {
    daemon_.remove();
    switch_.pump();

    const Outcome result = run({"callhome", "setup", "--enable"});

    EXPECT_EQ(result.status, ExitStatus::DONE);
    EXPECT_EQ(result.err, "switchctl: stored; orvApp does not run and will read it when it starts\n");
    EXPECT_EQ(switch_.attribute("Global.Services.CallhomeEnable"), "True");
}

TEST_F(CallhomeSetup, tellsThatItIsStoredWhenTheDaemonDoesNotAnswer) {
    daemon_.onMessage = nullptr;

    const Outcome result = run({"callhome", "setup", "--enable", "--timeout", "0.3"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_EQ(result.err, "switchctl: stored, but orvApp did not answer in 0.3 s; it may still be done\n");
}

TEST_F(CallhomeSetup, setsNothingWhenOneSettingCannotBeUsed) {
    const Outcome result = run({"callhome", "setup", "--enable", "--from", "#x", "--smtp", "1-127.0.0.1"});

    EXPECT_EQ(result.status, ExitStatus::WRONG_USAGE);
    EXPECT_EQ(result.err,
              "switchctl: --from \"#x\" cannot be used: it begins with a mark that the queue keeps there, ! # $ or %; "
              "write it like operator@example.com\nusage: switchctl callhome setup [OPTION...]\nexample: switchctl "
              "callhome setup --enable --from "
              "sw@example.com --smtp 1-192.0.2.1:25\n");
    EXPECT_EQ(switch_.attribute("Global.Services.CallhomeEnable"), "False");
    EXPECT_THAT(requests_, IsEmpty());
}

TEST_F(CallhomeSetup, needsAtLeastOneOption) {
    EXPECT_THAT(run({"callhome", "setup"}).err, HasSubstr("there is nothing to set; name at least one option\n"));
}

TEST_F(CallhomeSetup, cannotSwitchOnAndOffAtOnce) {
    EXPECT_EQ(run({"callhome", "setup", "--enable", "--disable"}).status, ExitStatus::WRONG_USAGE);
}

TEST(CallhomeSettings, giveNumbersTheTypeOfNumbers) {
    CallhomeSettings settings;
    settings.smtp = "1-127.0.0.1:25";

    EXPECT_THAT(settings.attributes(), ElementsAre(Attribute{"Global.Callhome.NF-SMTPAddr", 1, "1-127.0.0.1"},
                                                   Attribute{"Global.Callhome.SMTPPort", 2, "25"},
                                                   Attribute{"Global.Callhome.SMTPEnable", 1, "True"}));
}

}  // namespace
