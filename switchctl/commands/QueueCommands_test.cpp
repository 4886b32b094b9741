// queue: its files as they stand on flash, shown message by message, and the mails that would be made of them.
#include "testing/switchctl/QueueFlash.h"
#include "testing/switchctl/StatusTest.h"

#include <sys/stat.h>
#include <sys/time.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

class QueueTest : public StatusTest {
protected:
    std::string host(const std::string& path) { return switch_.root().at(path); }
    // All files get the age, by the switch's clock.
    void age(std::int64_t seconds) {
        const timeval then{static_cast<time_t>(LoopbackSwitch::START_SECONDS - seconds), 0};
        const timeval times[] = {then, then};
        for (const auto& file : fs::recursive_directory_iterator(host("/ostrel/conf/orv"))) {
            EXPECT_EQ(::utimes(file.path().c_str(), times), 0);
        }
    }
    // What is printed, whatever becomes of it.
    std::string list(const std::vector<std::string>& options = {}) {
        std::vector<std::string> words = {"queue", "list"};
        words.insert(words.end(), options.begin(), options.end());
        return done(words);
    }
    // Three that wait, the second open.
    void threeWait() {
        flash_.put("send", 4, QueueFlash::event({"a@b", "!c@d"}) + QueueFlash::state(2));
        flash_.put("send", 5, QueueFlash::event() + QueueFlash::state());
        flash_.put("send", 3, QueueFlash::event({"$a@b", "#c@d", "%e@f"}, 1) + QueueFlash::state(0, 1));
        flash_.order("send", {4, 5, 3}, 2);
        age(300);
    }
    std::string bytesOf(const std::string& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    // Every file of the switch with its bytes.
    std::map<std::string, std::string> tree() {
        std::map<std::string, std::string> files;
        for (const auto& file : fs::recursive_directory_iterator(host("/ostrel"))) {
            if (file.is_regular_file()) {
                files[file.path()] = bytesOf(file.path());
            }
        }
        return files;
    }

    QueueFlash flash_{switch_};
};

TEST_F(QueueTest, anEmptyQueueSaysSo) {
    EXPECT_EQ(list(), "0 messages with a file, 0 bytes\n");
    EXPECT_EQ(list({"--json"}),
              "{\"messages\":[],\"foreign\":[],\"tests\":0,\"parkedWithoutFile\":0,\"unknown\":[],\"schema\":1}\n");
}

TEST_F(QueueTest, whatWaitsStandsThereInOrderWithItsRecipients) {
    threeWait();
    waiting_ = 5;

    EXPECT_EQ(list(),
              "NUMBER  AGE     BYTES  STATE    REPEATS  NEXT TRY  TEXT\n"
              "4       10 min  505    waiting  2        -         Port 5 went down\n"
              "        Ops: a@b waiting, c@d delivered\n"
              "5       10 min  504    waiting  0        after 4   Port 5 went down\n"
              "        Ops: a@b waiting, c@d waiting\n"
              "3       10 min  511    waiting  1        after 5   Port 5 went down\n"
              "        Ops: a@b refused for now, tried once more, c@d given up, e@f refused twice\n"
              "        it was cleared and goes as soon as it is closed\n"
              "3 messages with a file, 1520 bytes\n"
              "2 test messages beside them: tests have no file\n"
              "nothing is being tried at this moment; switchctl status says whether that is to be mended\n");
}

TEST_F(QueueTest, passiveAsksTheDaemonNothingAndShowsTheSame) {
    threeWait();
    const std::string asked = list();
    codes_.clear();
    silent_ = true;

    const std::string passive = list({"--passive"});
    const Outcome status = run({"status", "--passive", "--json"});

    EXPECT_THAT(codes_, IsEmpty());
    for (const char* text : {"send/4", "a@b waiting", "c@d"}) {
        EXPECT_EQ(passive.find(text) != std::string::npos, asked.find(text) != std::string::npos) << text;
    }
    EXPECT_THAT(status.out, HasSubstr(",\"waiting\":3,\"open\":0,"));
    EXPECT_THAT(status.out, HasSubstr("\"discarded\":null"));
    EXPECT_THAT(status.out, Not(HasSubstr("daemon-silent")));
}

TEST_F(QueueTest, aTestMessageThatHasLeftIsNoneThoughTheOrderFileHasItStill) {
    threeWait();
    waiting_ = 3;
    open_ = 1;

    EXPECT_THAT(list(), HasSubstr("\n1 test message beside them"));
}

TEST_F(QueueTest, theOpenOneIsTheOneThatTheDaemonOpenedLast) {
    threeWait();
    waiting_ = 2;
    open_ = 1;
    traceTo("Main") << HEAD << "OrvCHMesgQ peekOpen: entry (5) opened in the send queue\n";

    const std::string text = list();

    EXPECT_THAT(text, HasSubstr("\n5       10 min  504    open     0        now       Port"));
    EXPECT_THAT(text, HasSubstr("\n4       10 min  505    waiting  2        after 5   Port"));
    EXPECT_THAT(text, Not(HasSubstr("nothing is being tried")));
}

TEST_F(QueueTest, theNextTryIsATimeOfDayAndTheLastReplyStandsWithTheFirst) {
    threeWait();
    waiting_ = 3;
    log(orv_log::kSendFailed, "192.0.2.1", 25, "SMTP Response Error", "SMTP server error Response", "450 later");
    log(orv_log::kRetryLater, "192.0.2.1", 25, 300);

    const std::string text = list();

    EXPECT_THAT(text, HasSubstr("\n4       10 min  505    waiting  2        22:18:20  Port"));
    EXPECT_THAT(text, HasSubstr("delivered\n        last reply: 192.0.2.1:25 at 22:13:20: 450 later\n5 "));
    EXPECT_THAT(list({"--json"}),
                HasSubstr("\"nextTry\":\"2023-11-14T22:18:20.123456+00:00\",\"after\":null,\"lastReply\":{\"server\":"
                          "\"192.0.2.1:25\",\"text\":\"450 later\",\"time\":\"2023-11-14T22:13:20.123456+00:00\"}"));
}

TEST_F(QueueTest, parkedAndPersistentOnesHaveTheirQueueInTheirName) {
    flash_.put("duplicate", 7, QueueFlash::event({"!a@b"}, 3) + QueueFlash::state());
    flash_.order("duplicate", {6, 7, 8});
    flash_.put("persist", 0, QueueFlash::event());
    age(300);

    const std::string text = list();

    EXPECT_THAT(text, HasSubstr("duplicate/7  10 min  501    parked      3 "));
    EXPECT_THAT(text, HasSubstr("persist/0    10 min  377    persistent  0 "));
    EXPECT_THAT(text, HasSubstr("\n2 messages mailed and kept to count repeats, without a file\n"));
    const std::string shown = done({"queue", "show", "duplicate/7"});
    EXPECT_THAT(shown, StartsWith("message      7 of the duplicate queue\n"));
    EXPECT_THAT(shown, HasSubstr(" to a@b:\n"));  // Its repeats go to everybody once more.
}

struct DamagedFile {
    const char* name;
    std::string bytes;
    const char* state;
};

TEST_F(QueueTest, aFileThatIsNotWholeIsShownAsSuch) {
    const std::string whole = QueueFlash::event();
    const DamagedFile CASES[] = {
        {"empty", "", "never restorable"},
        {"cut in the middle", whole.substr(0, whole.size() / 2), "never restorable"},
        {"cut before its last line", whole.substr(0, whole.size() - 5), "never restorable"},
        {"bytes of a flash that lost power", std::string(500, '\0'), "never restorable"},
        {"anything",
         "\x7f"
         "ELF \x1b[31m",
         "never restorable"},
        {"one without recipients", whole.substr(0, whole.find("<EnvelopeList>")) + "</OrvCHMesg>\n",
         "never restorable"},
        {"whole", whole, "waiting"},
    };
    for (const DamagedFile& one : CASES) {
        flash_.put("send", 1, one.bytes);
        flash_.order("send", {1});
        age(300);

        const std::string text = list();

        EXPECT_THAT(text, HasSubstr("\n1       ")) << one.name;
        EXPECT_THAT(text, HasSubstr(std::string("  ") + one.state + " ")) << one.name;
        EXPECT_THAT(text, Not(HasSubstr("\x1b"))) << one.name;
        EXPECT_EQ(done({"queue", "show", "1"}).find("The mail for") != std::string::npos, &one == std::end(CASES) - 1)
            << one.name;
    }
}

TEST_F(QueueTest, aFileCutAtAnyLengthIsNeverAnError) {
    const std::string whole = QueueFlash::event({"!a@b"}, 2) + QueueFlash::state(1);
    flash_.order("send", {1});
    for (std::size_t length = 0; length < whole.size(); length += 7) {
        flash_.put("send", 1, whole.substr(0, length));

        EXPECT_THAT(list(), HasSubstr("1 message with a file")) << length;
    }
}

TEST_F(QueueTest, aFileThatWasJustBegunIsHalfWritten) {
    flash_.put("send", 1, QueueFlash::event().substr(0, 100));
    flash_.order("send", {1});
    age(1);

    EXPECT_THAT(list(), HasSubstr("half written"));
    EXPECT_THAT(list(), HasSubstr("look again"));
}

TEST_F(QueueTest, foreignFilesLinksAndPipesAreNamedAndNotOpened) {
    flash_.order("send", {1, 2});
    switch_.root().write(QueueFlash::path("send", "README"), "x");
    switch_.root().write("/tmp/elsewhere", QueueFlash::event());
    fs::create_symlink(host("/tmp/elsewhere"), host(QueueFlash::path("send", "m1")));
    EXPECT_EQ(mkfifo(host(QueueFlash::path("send", "m2")).c_str(), 0600), 0);
    fs::create_directory(host(QueueFlash::path("send", "m3")));

    const std::string text = list();

    EXPECT_THAT(text, HasSubstr("1       "));
    EXPECT_THAT(text, HasSubstr("Too many levels of symbolic links"));
    EXPECT_THAT(text, HasSubstr("it is no file"));
    EXPECT_THAT(text, HasSubstr("none of the queue's: " + host(QueueFlash::path("send", "README")) + "\n"));
    EXPECT_THAT(text, Not(HasSubstr("Port 5")));
}

TEST_F(QueueTest, aFileLargerThanAnyMessageIsNotLookedInto) {
    flash_.put("send", 1, QueueFlash::event());
    fs::resize_file(host(QueueFlash::path("send", "m1")), std::uintmax_t{3} << 30);
    fs::create_directory(host(QueueFlash::path("send", "m2")));
    age(300);

    const std::string text = list();

    EXPECT_THAT(text, HasSubstr("\n1       5 min  3221225472  unreadable  "));
    EXPECT_THAT(text, HasSubstr("\n        it is larger than any message\n"));
    EXPECT_THAT(text, HasSubstr("\n2       5 min  0           unreadable  "));
}

TEST_F(QueueTest, oneThatTheOrderFileDoesNotHaveIsLeftOver) {
    flash_.put("send", 1, QueueFlash::event());
    flash_.put("send", 2, QueueFlash::event());
    flash_.order("send", {1});
    age(300);

    EXPECT_THAT(list(), HasSubstr("\n2       10 min  377    left over  0        -         Port 5 went down\n"));
}

TEST_F(QueueTest, withoutAnAnswerFromTheSwitchTheFilesAreShownAllTheSame) {
    threeWait();
    silent_ = true;

    const Outcome result = run({"queue", "list", "--timeout", "0.1"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_THAT(result.out, HasSubstr("\n5       10 min  504    waiting  0        after 4   Port"));
    EXPECT_THAT(result.out, HasSubstr("which message is open is not known: orvApp did not answer in 0.1 s\n"));
    EXPECT_EQ(result.err, "switchctl: orvApp did not answer in 0.1 s\n");
}

TEST_F(QueueTest, showHasTheMailByteForByteAsTheDaemonComposesIt) {
    threeWait();
    run({"attr", "set", "Global.Callhome.FromAddr=sw@example.com", "Global.Callhome.ReplyToAddr=ops@example.com",
         "Config.Switch.SymName=core-1", "Global.Network.Eth.0.NF-IPAddress=1-C0000201",
         "Global.Network.DNSClientEnable=False", "Global.Switch.WWN=10:00", "Config.Mfg.ChassisSerialNum=S1"});

    const std::string text = done({"queue", "show", "5"});

    EXPECT_THAT(text, HasSubstr("\n\nThe mail for the profile Ops, from sw@example.com to a@b, c@d:\n\n"
                                "Date: Tue, 14  Nov  2023  22:13:20  +0000\n"
                                "From: sw@example.com\n"
                                "Bcc:  \n"
                                "Reply-To: ops@example.com\n"
                                "Subject: [CallHome-Event: Ops] Switch\n"
                                "\n"
                                "\n"
                                "SN:             S1\n"
                                "DuplicateCount: 0\n"
                                "SwitchName:     core-1\n"
                                "SwitchIP:       192.0.2.1\n"
                                "SwitchWWN:      10:00\n"
                                "Text:           Port 5 went down\n"
                                "ID:             0123.4567\n"
                                "Time:           Tue Nov 14 22:03:20 UTC 2023\n"
                                "Level:          Critical\n"
                                "Blade:          Blade: 1\n"
                                "ASIC:           \n"
                                "Port:           5\n"));
    EXPECT_THAT(done({"--json", "queue", "show", "5"}), HasSubstr("\"text\":\"Date: Tue, 14  Nov  2023  22:13:20  "
                                                                  "+0000\\r\\nFrom: sw@example.com\\r\\nBcc:  \\r\\n"));
}

TEST_F(QueueTest, showKnowsWhatWasSaidOfARecipient) {
    threeWait();
    traceTo("Main") << HEAD << "OrvApp OrvApp: Application startup!\n";
    traceTo("SMTPClient") << HEAD << "OrvSendDialogue presentClient: Send SMTP client identity as hostname: sw-9\n"
                          << HEAD << "OrvSMTPClient sendRequest: SMTP Send (incl CRLF) {RCPT TO:<a@b>\r\n}\n"
                          << HEAD << "OrvSMTPClient recvResponse: SMTP StatusSMTPResponse (incl CRLF) {451 busy\r\n}\n";

    const std::string text = done({"queue", "show", "4"});

    EXPECT_THAT(text, HasSubstr("\n  recipient  a@b: waiting; last reply at 22:13:20: 451 busy\n"));
    EXPECT_THAT(text, HasSubstr("\nSwitchIP:       sw-9\n"));
    EXPECT_THAT(text, HasSubstr(" to a@b:\n"));  // The other one has it.
}

TEST_F(QueueTest, whatWasSaidInTheSameSecondBeforeItHappenedIsNotOfIt) {
    std::string event = QueueFlash::event();
    event.insert(event.find(" UTC 2023"), ".123");
    flash_.put("send", 4, event);
    flash_.order("send", {4});
    age(300);
    const std::string before = "11/14/2023 UTC 22:03:20.122  4242 ";
    traceTo("Main") << before << "OrvApp OrvApp: Application startup!\n";
    traceTo("SMTPClient") << before << "OrvSMTPClient sendRequest: SMTP Send (incl CRLF) {RCPT TO:<a@b>\r\n}\n"
                          << before << "OrvSMTPClient recvResponse: SMTP StatusSMTPResponse (incl CRLF) {250 OK\r\n}\n";

    EXPECT_THAT(done({"queue", "show", "4"}), HasSubstr("\n  recipient  a@b: waiting\n"));
}

TEST_F(QueueTest, aCaptureIsShownWithItsAttachmentsWhichStay) {
    const std::string attachment = "/ostrel/conf/orv/callHome/attachments/smlCapture.gz.17";
    switch_.root().write(attachment, "SGVsbG8=\r\n");
    flash_.put("send", 1, QueueFlash::capture("smlCapture.gz"));
    flash_.order("send", {1});
    age(300);
    const auto before = tree();

    const std::string text = done({"queue", "show", "1"});

    EXPECT_THAT(text,
                HasSubstr("state        waiting: a capture: it is lost when orvApp restarts before it is mailed\n"));
    EXPECT_THAT(text, HasSubstr("attachment   " + attachment + "\n"));
    EXPECT_THAT(text, HasSubstr("filename=smlCapture.gz\n\nSGVsbG8=\n"));
    EXPECT_EQ(tree(), before);
    for (const auto& file : fs::directory_iterator(host("/tmp"))) {
        EXPECT_THAT(file.path().filename().string(), Not(StartsWith("output.")));
    }
}

TEST_F(QueueTest, aMessageThatIsNotThereIsRefused) {
    for (const char* name : {"9", "duplicate/5", "nonsense", "-1"}) {
        const Outcome result = run({"queue", "show", "--", name});
        EXPECT_EQ(result.status, ExitStatus::REFUSED);
        EXPECT_EQ(result.err, std::string("switchctl: there is no message ") + name +
                                  " with a file in the queue; see switchctl queue list\n");
    }
}

TEST_F(QueueTest, exportWritesAFileForEachMailAndTouchesNothingElse) {
    threeWait();
    flash_.put("send", 8, "torn");
    run({"attr", "set", "Global.Callhome.FromAddr=sw@example.com", "Global.Snmp.Location=first\nsecond"});
    const auto before = tree();
    const std::string directory = host("/tmp/mails");

    const Outcome result = run({"queue", "export", "--to", directory});

    EXPECT_EQ(result.status, ExitStatus::DONE);
    EXPECT_EQ(result.err, "switchctl: 1 files are not whole and were left out; see switchctl queue list\n");
    EXPECT_EQ(result.out, directory + "/m4-Ops.eml: from sw@example.com to a@b\n" + directory +
                              "/m5-Ops.eml: from sw@example.com to a@b, c@d\n" + directory +
                              "/m3-Ops.eml: from sw@example.com to a@b, e@f\n");
    const std::string mail = bytesOf(directory + "/m5-Ops.eml");
    EXPECT_THAT(mail, StartsWith("Date: Tue, 14  Nov  2023  22:13:20  +0000\r\nFrom: sw@example.com\r\n"));
    EXPECT_THAT(mail, testing::EndsWith("\r\n"));
    EXPECT_EQ(std::ranges::count(mail, '\n'), std::ranges::count(mail, '\r'));
    EXPECT_EQ(tree(), before);
}

TEST_F(QueueTest, exportWritesOverNothing) {
    threeWait();
    switch_.root().write("/tmp/mails/m5-Ops.eml", "somebody's");

    const Outcome result = run({"queue", "export", "5", "--to", host("/tmp/mails")});

    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_THAT(result.err, HasSubstr("m5-Ops.eml cannot be written: File exists"));
    EXPECT_EQ(switch_.root().read("/tmp/mails/m5-Ops.eml"), "somebody's");
}

TEST_F(QueueTest, tryHasTheConfigurationReadWhenSomethingWaits) {
    EXPECT_EQ(done({"queue", "try"}), "nothing waits\n");
    open_ = 1;
    EXPECT_EQ(done({"queue", "try"}), "the only message is being tried\n");
    waiting_ = 2;
    EXPECT_EQ(done({"queue", "try"}), "done: orvApp reads its settings anew and then tries at once; waiting: 2\n");
    EXPECT_THAT(codes_, testing::Contains(ManagementCode::PROFILE_CHANGE).Times(1));
}

TEST_F(QueueTest, clearAsksAndWithNobodyToAskIsWrongUsage) {
    waiting_ = 2;

    const Outcome result = run({"queue", "clear"});

    EXPECT_EQ(result.status, ExitStatus::WRONG_USAGE);
    EXPECT_THAT(result.err,
                StartsWith("switchctl: nobody can be asked whether the queue is to be cleared; write --yes"));
    EXPECT_THAT(codes_, IsEmpty());
    EXPECT_EQ(done({"queue", "clear", "--yes"}), "done: queued messages are discarded; there were 2\n");
    EXPECT_THAT(codes_, testing::Contains(ManagementCode::CLEAR_QUEUE));
}

TEST_F(QueueTest, aHundredMessagesAreListedInATenthOfASecond) {
    std::vector<std::uint32_t> numbers;
    for (std::uint32_t number = 0; number < 100; ++number) {
        flash_.put("send", number, QueueFlash::event() + QueueFlash::state());
        numbers.push_back(number);
    }
    flash_.order("send", numbers);
    const auto begin = std::chrono::steady_clock::now();

    EXPECT_THAT(list(), HasSubstr("\n100 messages with a file, "));

    // Ten times as much as it may take, for sanitizers and busy machines.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
}

}  // namespace
