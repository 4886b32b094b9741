#include "testing/switchctl/SwitchctlTest.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class ProfileCommands : public SwitchctlDaemonTest {
protected:
    void add(const std::string& name) {
        done({"profile", "add", name, "--level", "Alarm", "--format", "FullText", "--email", name + "@example.com"});
    }
};

TEST_F(ProfileCommands, addStoresAProfileAndHasItRead) {
    EXPECT_EQ(done({"profile", "add", "Operators", "--level", "Alarm", "--format", "FullText", "--email",
                    "a@example.com", "--email", "b@example.com", "--subject", "Switch in the lab", "--max-size", "5000",
                    "--capture", "Mon,02:30,1"}),
              "profile Operators added\n");

    EXPECT_EQ(done({"attr", "list", "Global.CallhomeDB."}),
              "Global.CallhomeDB.NumberOfProfiles=1\n"
              "Global.CallhomeDB.Profile.0.Capture.0.DayOfWeek=Mon\n"
              "Global.CallhomeDB.Profile.0.Capture.0.Interval=1\n"
              "Global.CallhomeDB.Profile.0.Capture.0.TimeOfDay=02:30\n"
              "Global.CallhomeDB.Profile.0.Capture.0.Type=Cron\n"
              "Global.CallhomeDB.Profile.0.CaptureEnable=True\n"
              "Global.CallhomeDB.Profile.0.CaptureEntries=1\n"
              "Global.CallhomeDB.Profile.0.EmailList.0=a@example.com\n"
              "Global.CallhomeDB.Profile.0.EmailList.1=b@example.com\n"
              "Global.CallhomeDB.Profile.0.EmailSubject=Switch in the lab\n"
              "Global.CallhomeDB.Profile.0.Format=FullText\n"
              "Global.CallhomeDB.Profile.0.Level=Alarm\n"
              "Global.CallhomeDB.Profile.0.MaxSize=5000\n"
              "Global.CallhomeDB.Profile.0.NumberOfEmails=2\n"
              "Global.CallhomeDB.ProfileList.0=Operators\n");
    EXPECT_THAT(requestCodes(), ElementsAre(1));
}

TEST_F(ProfileCommands, showPrintsOneProfile) {
    done({"profile", "add", "Operators", "--level", "Alarm", "--format", "FullText", "--email", "a@example.com",
          "b@example.com", "--capture", "Mon,02:30,1"});

    EXPECT_EQ(done({"profile", "show", "Operators"}),
              "name          Operators\n"
              "level         Alarm\n"
              "format        FullText\n"
              "largest mail  2000000 bytes\n"
              "subject       \n"
              "email         a@example.com\n"
              "email         b@example.com\n"
              "capture       Mon, 02:30, every week\n");
    EXPECT_EQ(done({"profile", "show", "Operators", "--json"}),
              "{\"name\":\"Operators\",\"level\":\"Alarm\",\"format\":\"FullText\",\"maxSize\":2000000,"
              "\"subject\":\"\",\"emails\":[\"a@example.com\",\"b@example.com\"],\"capture\":\"Mon,02:30,1\","
              "\"schema\":1}\n");
}

TEST_F(ProfileCommands, listPrintsThemInTheirOrder) {
    EXPECT_EQ(done({"profile", "list"}), "no profiles\n");
    EXPECT_EQ(done({"profile", "list", "--json"}), "{\"profiles\":[],\"schema\":1}\n");
    add("Second");
    add("First");

    EXPECT_EQ(done({"profile", "list"}),
              "NAME    LEVEL  FORMAT    ADDRESSES\n"
              "Second  Alarm  FullText  Second@example.com\n"
              "First   Alarm  FullText  First@example.com\n");
}

TEST_F(ProfileCommands, setChangesWhatIsNamedAndNothingElse) {
    done({"profile", "add", "Ops", "--level", "alarm", "--format", "fulltext", "--email", "a@x", "b@x", "--capture",
          "mon,02:30,1", "--subject", "Lab"});
    requests_.clear();

    EXPECT_EQ(done({"profile", "set", "Ops", "--level", "warn"}), "profile Ops changed\n");
    EXPECT_THAT(requestCodes(), ElementsAre(1));
    const std::string rest = "largest mail  2000000 bytes\nsubject       Lab\nemail         a@x\nemail         b@x\n";
    EXPECT_EQ(done({"profile", "show", "Ops"}), "name          Ops\nlevel         Warn\nformat        FullText\n" +
                                                    rest + "capture       Mon, 02:30, every week\n");

    done({"profile", "set", "Ops", "--email", "c@x", "--capture", "off", "--format", "tsc1", "--max-size", "700",
          "--subject", ""});
    EXPECT_EQ(done({"profile", "show", "Ops"}),
              "name          Ops\nlevel         Warn\nformat        Tsc1\nlargest mail  700 bytes\nsubject       \n"
              "email         c@x\ncapture       none\n");
    EXPECT_EQ(switch_.attribute("Global.CallhomeDB.Profile.0.EmailList.1"), std::nullopt);
}

TEST_F(ProfileCommands, setRefusesWhatAddRefusesAndChangesNothing) {
    add("Operators");

    EXPECT_EQ(run({"profile", "set", "Operators"}).status, ExitStatus::WRONG_USAGE);
    EXPECT_EQ(run({"profile", "set", "Operators", "--level", "Alrm", "--subject", "x"}).status,
              ExitStatus::WRONG_USAGE);
    EXPECT_EQ(run({"profile", "set", "Operators", "--email", "@x"}).status, ExitStatus::WRONG_USAGE);
    EXPECT_EQ(run({"profile", "set", "Opertors", "--level", "Info"}).err,
              "switchctl: there is no profile Opertors; did you mean Operators?\n");
    EXPECT_EQ(switch_.attribute("Global.CallhomeDB.Profile.0.EmailSubject"), "");
}

TEST_F(ProfileCommands, aFormatThatIsNearlyOneIsTakenAndNoted) {
    EXPECT_EQ(run({"profile", "add", "A", "--level", "Info", "--format", "FulText", "--email", "a@x"}).err,
              "switchctl: \"FulText\" stands for the short form; did you mean FullText?\n");
    EXPECT_EQ(run({"profile", "set", "A", "--format", "fullTEXT"}).err, "");
    EXPECT_EQ(run({"profile", "set", "A", "--format", "Short"}).err, "");
}

TEST_F(ProfileCommands, removeClosesTheGap) {
    add("One");
    add("Two");
    add("Three");
    requests_.clear();

    EXPECT_EQ(done({"profile", "remove", "One"}), "profile One removed\n");

    EXPECT_EQ(done({"profile", "list"}),
              "NAME   LEVEL  FORMAT    ADDRESSES\n"
              "Two    Alarm  FullText  Two@example.com\n"
              "Three  Alarm  FullText  Three@example.com\n");
    EXPECT_EQ(switch_.attribute("Global.CallhomeDB.NumberOfProfiles"), "2");
    EXPECT_EQ(done({"attr", "list", "Global.CallhomeDB.Profile.2"}), "");
    EXPECT_EQ(switch_.attribute("Global.CallhomeDB.ProfileList.2"), std::nullopt);
    EXPECT_THAT(requestCodes(), ElementsAre(1));
}

TEST_F(ProfileCommands, refuseANameThatIsTakenOrUnknown) {
    add("One");
    requests_.clear();

    const Outcome taken =
        run({"profile", "add", "One", "--level", "Info", "--format", "Tsc1", "--email", "x@example.com"});
    const Outcome unknown = run({"profile", "remove", "Two"});

    EXPECT_EQ(taken.status, ExitStatus::REFUSED);
    EXPECT_EQ(taken.err, "switchctl: there is a profile One already\n");
    EXPECT_EQ(unknown.status, ExitStatus::REFUSED);
    EXPECT_EQ(unknown.err, "switchctl: there is no profile Two\n");
    EXPECT_EQ(run({"profile", "show", "Two"}).err, "switchctl: there is no profile Two\n");
    EXPECT_THAT(requests_, IsEmpty());
}

TEST_F(ProfileCommands, storeNothingThatTheDaemonWouldNotUnderstand) {
    const std::vector<std::vector<std::string>> changes = {
        {"--level", "alrm"},          {"--format", ""},
        {"--email", "!a@x"},          {"--max-size", "649"},
        {"--max-size", "2000001"},    {"--max-size", "12k"},
        {"--capture", "Mon,24:00,1"}, {"--subject", std::string(65, 's')},
    };
    for (const auto& change : changes) {
        std::map<std::string, std::string> options = {{"--level", "Info"}, {"--format", "Tsc1"}, {"--email", "a@x"}};
        options[change[0]] = change[1];
        std::vector<std::string> line = {"profile", "add", "One"};
        for (const auto& [option, value] : options) {
            line.push_back(option);
            line.push_back(value);
        }
        EXPECT_EQ(run(line).status, ExitStatus::WRONG_USAGE) << change[0] << " " << change[1];
    }
    EXPECT_EQ(switch_.attribute("Global.CallhomeDB.NumberOfProfiles"), "0");
}

TEST_F(ProfileCommands, areDoneAndSaySoWhenTheDaemonIsNotThereToBeTold) {
    daemon_.remove();
    switch_.pump();

    const Outcome result = run({"profile", "add", "One", "--level", "Info", "--format", "Tsc1", "--email", "a@x",
                                "--capture", "Sun,3:00,2", "--json"});

    EXPECT_EQ(result.status, ExitStatus::DONE);
    EXPECT_EQ(result.err, "switchctl: stored; orvApp does not run and will read it when it starts\n");
    EXPECT_EQ(result.out,
              "{\"name\":\"One\",\"level\":\"Info\",\"format\":\"Tsc1\",\"maxSize\":2000000,\"subject\":\"\","
              "\"emails\":[\"a@x\"],\"capture\":\"Sun,3:00,2\",\"told\":false,\"schema\":1}\n");
    EXPECT_THAT(done({"profile", "show", "One"}), HasSubstr("capture       Sun, 3:00, every 2 weeks\n"));
}

TEST_F(ProfileCommands, sayWhatIsStoredWhenTheDaemonDoesNotAnswer) {
    daemon_.onMessage = nullptr;

    const Outcome result =
        run({"profile", "add", "One", "--level", "Info", "--format", "Tsc1", "--email", "a@x", "--timeout", "0.3"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_EQ(result.err, "switchctl: stored, but orvApp did not answer in 0.3 s; it may still be done\n");
    EXPECT_EQ(switch_.attribute("Global.CallhomeDB.ProfileList.0"), "One");

    EXPECT_EQ(run({"profile", "remove", "One", "--timeout", "0.3"}).err,
              "switchctl: removed, but orvApp did not answer in 0.3 s; it may still be done\n");
}

TEST_F(ProfileCommands, showTheAddressesThatAreThereAndTenAtMost) {
    done({"attr", "set", "Global.CallhomeDB.NumberOfProfiles=1", "Global.CallhomeDB.ProfileList.0=One",
          "Global.CallhomeDB.Profile.0.NumberOfEmails=99", "Global.CallhomeDB.Profile.0.EmailList.1=b@x",
          "Global.CallhomeDB.Profile.0.EmailList.9=j@x", "Global.CallhomeDB.Profile.0.EmailList.10=k@x"});

    EXPECT_THAT(done({"profile", "list"}), HasSubstr("  b@x,j@x\n"));
}

TEST_F(ProfileCommands, addNeedsLevelFormatAndEmail) {
    EXPECT_THAT(run({"profile", "add", "One", "--format", "Tsc1", "--email", "a@x"}).err,
                HasSubstr("--level is required"));
    EXPECT_THAT(run({"profile", "add", "One", "--level", "Info", "--email", "a@x"}).err,
                HasSubstr("--format is required"));
    EXPECT_THAT(run({"profile", "add", "One", "--level", "Info", "--format", "Tsc1"}).err,
                HasSubstr("--email is required"));
}

}  // namespace
