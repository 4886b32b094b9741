// status, against a component that answers as the daemon does.
#include "orv_version.h"
#include "testing/switchctl/StatusTest.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

using Status = StatusTest;

TEST_F(Status, ofAnUnconfiguredSwitchSaysWhatToMendInOrder) {
    run({"attr", "set", "Default.Mfg.AllowCallhome=False"});

    EXPECT_EQ(status(),
              "CallHome cannot send. What to mend, in this order:\n"
              "  1. the switch's factory settings do not allow CallHome\n"
              "       switchctl attr set Default.Mfg.AllowCallhome=True\n"
              "  2. CallHome is switched off\n"
              "       switchctl callhome setup --enable\n"
              "  3. no mail server is configured and switched on\n"
              "       switchctl callhome setup --smtp KIND-ADDRESS:PORT\n"
              "  4. there is no sender address\n"
              "       switchctl callhome setup --from ADDRESS\n"
              "  5. there are no profiles: nobody receives anything\n"
              "       switchctl profile add NAME --level L --format F --email ADDRESS\n"
              "components    OrvApp started " +
                  address_ +
                  "\n"
                  "mail servers  none, none\n"
                  "active        none\n"
                  "sender        none\n"
                  "profiles      0\n"
                  "queue         0 of 100 waiting, 0 open, 0 of 5120000 bytes\n"
                  "retry         none\n"
                  "discarded     1 for space, 2 for the file limit, 3 for age, 4 cleared, 5 not added\n"
                  "given up      0 recipients, 0 mails, 0 messages not queued\n"
                  "clock         2023-11-14T22:13:20.123456+0000, orvApp's zone is UTC\n"
                  "version       " ORV_VERSION
                  "\n"
                  "last failure  none\n");
}

struct UselessCase {
    const char* attribute;
    const char* cause;
};

constexpr UselessCase USELESS[] = {
    {"Global.Callhome.SMTPPort=abc", "server"},
    {"Global.Callhome.SMTPPort=0", "server"},
    {"Global.Callhome.SMTPPort=", "server"},
    {"Global.Callhome.SMTPPort=65536", "server"},
    {"Global.CallhomeDB.NumberOfProfiles=0", "profiles"},
    {"Global.CallhomeDB.NumberOfProfiles=garbage", "profiles"},
};

TEST_F(Status, ofASwitchWhoseValuesAreOfNoUseSaysThatItCannotSend) {
    for (const UselessCase& one : USELESS) {
        configure();
        done({"attr", "set", "Global.Callhome.SMTPPort=65535"});
        EXPECT_THAT(status({"--json"}), StartsWith("{\"canSend\":true,"));

        done({"attr", "set", one.attribute});

        EXPECT_THAT(status({"--json"}),
                    StartsWith(std::string("{\"canSend\":false,\"problems\":[{\"cause\":\"") + one.cause + "\","))
            << one.attribute;
    }
    EXPECT_THAT(status(), HasSubstr("\nprofiles      0\n"));
}

TEST_F(Status, ofASwitchThatCountsProfilesWhichAreNotThereSaysThatItCannotSend) {
    configure();
    done({"attr", "set", "Global.CallhomeDB.NumberOfProfiles=5",
          "Global.CallhomeDB.ProfileList.0=", "Global.CallhomeDB.ProfileList.1="});
    EXPECT_THAT(status(), HasSubstr("there are no profiles"));

    done({"attr", "unset", "Global.CallhomeDB.ProfileList.0", "Global.CallhomeDB.ProfileList.1"});
    EXPECT_THAT(status(), HasSubstr("there are no profiles"));
}

TEST_F(Status, cutsALongSenderAndSaysNoneForABlankOne) {
    done({"attr", "set", "Global.Callhome.FromAddr=" + std::string(100, 'a')});
    EXPECT_THAT(status(), HasSubstr("\nsender        " + std::string(60, 'a') + "...\n"));

    done({"attr", "set", "Global.Callhome.FromAddr= "});
    EXPECT_THAT(status(), HasSubstr("\nsender        none\n"));
    EXPECT_THAT(status(), HasSubstr("there is no sender address"));
}

TEST_F(Status, ofAConfiguredSwitchSaysThatItCanSend) {
    configure();
    bytes_ = 641;
    waiting_ = 1;
    open_ = 1;

    EXPECT_EQ(status(),
              "CallHome can send.\n"
              "components    OrvApp started " +
                  address_ +
                  "\n"
                  "mail servers  192.0.2.1:25, none\n"
                  "active        192.0.2.1:25\n"
                  "sender        sw@example.com\n"
                  "profiles      2\n"
                  "queue         1 of 100 waiting, 1 open, 641 of 5120000 bytes\n"
                  "retry         none\n"
                  "discarded     1 for space, 2 for the file limit, 3 for age, 4 cleared, 5 not added\n"
                  "given up      0 recipients, 0 mails, 0 messages not queued\n"
                  "clock         2023-11-14T22:13:20.123456+0000, orvApp's zone is UTC\n"
                  "version       " ORV_VERSION
                  "\n"
                  "last failure  none\n");
}

TEST_F(Status, isOneObjectForPrograms) {
    configure();
    EXPECT_EQ(status({"--json"}),
              "{\"canSend\":true,\"problems\":[],\"components\":[{\"name\":\"OrvApp\",\"state\":\"started\",\"node\":" +
                  std::to_string(daemon_.address().node) + ",\"process\":" + std::to_string(daemon_.address().process) +
                  "}],"
                  "\"primary\":{\"address\":\"192.0.2.1\",\"port\":25,\"enabled\":true},"
                  "\"secondary\":{\"address\":\"\",\"port\":25,\"enabled\":false},"
                  "\"active\":{\"address\":\"192.0.2.1\",\"port\":25,\"enabled\":true},"
                  "\"sender\":\"sw@example.com\",\"profiles\":2,"
                  "\"queue\":{\"bytesInUse\":0,\"waiting\":0,\"open\":0,\"bytesAllowed\":5120000,"
                  "\"messagesAllowed\":100},"
                  "\"discarded\":{\"space\":1,\"fileLimit\":2,\"age\":3,\"cleared\":4,\"notAdded\":5},"
                  "\"retry\":null,\"lastFailure\":null,"
                  "\"givenUp\":{\"recipients\":0,\"mails\":0,\"notQueued\":0},\"warnings\":[],\"state\":\"ok\","
                  "\"parked\":null,\"zone\":\"UTC\",\"dialogue\":\"required\",\"version\":\"" ORV_VERSION
                  "\",\"schema\":1}\n");
}

TEST_F(Status, tellsProgramsTheCauseOfEachProblem) {
    EXPECT_THAT(status({"--json"}),
                StartsWith("{\"canSend\":false,\"problems\":[{\"cause\":\"service\",\"text\":\"CallHome is switched "
                           "off\",\"remedy\":\"switchctl callhome setup --enable\",\"id\":\"service-off\","
                           "\"state\":\"blocked\"},{\"cause\":\"server\","));
}

TEST_F(Status, saysWhichDialogueIsOnWhenItIsNotTheUsualOne) {
    EXPECT_THAT(status(), Not(HasSubstr("\ndialogue ")));
    dialogue_ = HEAD;
    dialogue_ += "OrvCHClient probe: SMTP Dialogue Information:\n  SMTPDialogue = conforming\n\n";

    EXPECT_THAT(status(), HasSubstr("\nactive        none\ndialogue      conforming\nsender        none\n"));
    EXPECT_THAT(status({"--json"}), HasSubstr("\"dialogue\":\"conforming\""));
    EXPECT_THAT(status({"--json", "--passive"}), HasSubstr("\"dialogue\":null"));
}

TEST_F(Status, countsTheSecondServerAsAServer) {
    configure();
    run({"attr", "set", "Global.Callhome.SMTPEnable=False", "Global.Callhome.NF-SMTPAddr1=3-mail.example.com",
         "Global.Callhome.SMTPEnable1=True"});

    EXPECT_THAT(status(), StartsWith("CallHome can send.\n"));
    EXPECT_THAT(status(), HasSubstr("\nmail servers  192.0.2.1:25 (off), mail.example.com:25\n"));
}

TEST_F(Status, noticesThatTheDaemonHasNotReadTheAttributesOrIsReadingThem) {
    configure();
    condition_ = "0x37";

    EXPECT_THAT(status(), StartsWith("CallHome cannot send. What to mend, in this order:\n"
                                     "  1. orvApp has not read the attributes as they are now\n"
                                     "       switchctl callhome profile-change\n"
                                     "components "));
    config_ = "0x20";
    EXPECT_THAT(status(), StartsWith("CallHome cannot send. What to mend, in this order:\n"
                                     "  1. orvApp is reading its configuration; look again\n"
                                     "       switchctl status\n"
                                     "components "));
}

TEST_F(Status, marksAQueueWithoutRoom) {
    configure();
    waiting_ = 100;
    bytes_ = 5120001;

    EXPECT_THAT(status(),
                HasSubstr("\nqueue         100 of 100 waiting (full), 0 open, 5120001 of 5120000 bytes (full)\n"));
}

TEST_F(Status, countsDownToTheNextTryAfterAFailure) {
    configure();
    waiting_ = 1;
    log(orv_log::kSendFailed, "192.0.2.1", 25, "Connect Error", "Connection refused", "");
    log(orv_log::kRetryLater, "192.0.2.1", 25, 5);
    switch_.clock().advance(1500);

    EXPECT_THAT(status(), StartsWith("CallHome cannot send. What to mend, in this order:\n"
                                     "  1. the mail server 192.0.2.1:25 cannot be reached: Connection refused\n"));
    EXPECT_THAT(status(), HasSubstr("\nretry         in 4 s through 192.0.2.1:25\n"));
    EXPECT_THAT(status(), EndsWith("\nlast failure  2023-11-14T22:13:20.123456+0000\n"
                                   "    Encountered failure communicating with SMTP server=192.0.2.1, port=25,\n"
                                   "    Reason=[Connect Error], Description=[Connection refused], Response=[]\n"));
    EXPECT_THAT(status({"--json"}), HasSubstr("\"retry\":{\"server\":\"192.0.2.1:25\",\"seconds\":4}"));
    switch_.clock().advance(5000);
    EXPECT_THAT(status(), HasSubstr("\nretry         due through 192.0.2.1:25\n"));
}

TEST_F(Status, forgetsARetryWithNothingLeftToSend) {
    configure();
    log(orv_log::kRetryLater, "192.0.2.1", 25, 5);

    EXPECT_THAT(status(), StartsWith("CallHome can send.\n"));
    EXPECT_THAT(status(), HasSubstr("\nretry         none\n"));
}

TEST_F(Status, countsWhatWasGivenUp) {
    configure();
    log(orv_log::kRecipientRetryFailed, "Ops", "a@b", "192.0.2.1", 25);
    log(orv_log::kRecipientGivenUp, "Ops", "a@b", "192.0.2.1", 25);
    log(orv_log::kNoRecipientAccepted, "192.0.2.1", 25, "Ops");
    log(orv_log::kRestoreEntryFailed, "/x");
    log(orv_log::kTooManyFiles);

    EXPECT_THAT(status(), HasSubstr("\ngiven up      2 recipients, 1 mails, 2 messages not queued\n"));
    EXPECT_THAT(status({"--json"}), HasSubstr("\"givenUp\":{\"recipients\":2,\"mails\":1,\"notQueued\":2}"));
}

TEST_F(Status, saysThatTheTraceCannotBeReadAndStillSaysTheRest) {
    configure();
    daemon_.onMessage = [this](Hsb_Message& message) {
        if (message.format() == MessageFormat::PROBE) {
            EXPECT_EQ(message.reply(MessageFormat::PROBE, ProbeCode::REPLY), 0);
        } else {
            answer(message);
        }
    };

    EXPECT_THAT(status(), StartsWith("CallHome can send.\n"));
    EXPECT_THAT(status(),
                HasSubstr("\nworth knowing\n  1. what orvApp says about itself is not known: orvApp has answered"));
    EXPECT_THAT(status(), HasSubstr("\ndiscarded     not known: orvApp has answered, but its trace "));
    EXPECT_THAT(status({"--json"}), HasSubstr("\"discarded\":null"));
}

TEST_F(Status, ofADaemonThatDoesNotAnswerIsPrintedAndNoSuccess) {
    configure();
    silent_ = true;

    const Outcome result = run({"status", "--timeout", "0.3"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_EQ(result.err, "switchctl: orvApp did not answer in 0.3 s\n");
    EXPECT_THAT(result.out, StartsWith("CallHome cannot send. What to mend, in this order:\n"
                                       "  1. orvApp did not answer in 0.3 s\n       restart orvApp\n"));
    EXPECT_THAT(result.out, HasSubstr("\nqueue         not known\n"));
}

TEST_F(Status, ofASwitchWithoutADaemonSaysSoFirst) {
    configure();
    daemon_.remove();
    switch_.pump();

    EXPECT_THAT(status(), StartsWith("CallHome cannot send. What to mend, in this order:\n"
                                     "  1. orvApp does not run\n       orvApp\n"
                                     "components    none\n"));
    EXPECT_THAT(status({"--json"}),
                StartsWith("{\"canSend\":false,\"problems\":[{\"cause\":\"daemon\",\"text\":\"orvApp does not run\","
                           "\"remedy\":\"orvApp\",\"id\":\"daemon-absent\",\"state\":\"down\"}],\"components\":[],"));
    EXPECT_THAT(status({"--json"}), HasSubstr(",\"state\":\"down\","));
}

}  // namespace
