// The road of a capture in one process: from the attribute store over shell and compressor to a mail server.
#include "testing/app/CaptureFixture.h"

#include "mesg/OrvSequenceSource.h"
#include "testing/SmallFlash.h"

#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>
#include <utility>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class Captures : public CaptureFixture {
protected:
    std::string onlyMail() {
        const std::vector<ScriptedMail> mails = primary_.mailsTaken();
        return mails.size() == 1 ? mails[0].text : std::to_string(mails.size()) + " mails";
    }
    // The capture's mail comes later, when the staged files have been looked at.
    void captureWithoutMailServer() {
        primary_.refuseConnections();
        startWithCaptures();
        tickToCheck();
        ASSERT_TRUE(waitForResults(1));
    }
    static std::string partOf(const std::string& boundary, const std::string& name, const std::string& text) {
        return "--" + boundary + "\r\nContent-Type: APPLICATION/x-gzip; filename=" + name +
               "\r\nContent-Transfer-Encoding: BASE64\r\nContent-Description: " + name +
               "\r\nContent-Disposition: attachment; filename=" + name + "\r\n\r\n" + text;
    }
    static std::string replacedPart(const std::string& boundary, const std::string& name, const std::string& reason) {
        return "--" + boundary + "\r\nContent-Type: TEXT/plain; charset=US-ASCII; format=flowed\r\n\r\n" +
               "The attachment file:\r\n        " + name + "\r\n" + reason + "\r\n\r\n";
    }
    std::string staged(const std::string& name) { return root_.read(std::string(kAttachments) + "/" + name + ".1"); }
    static std::string boundaryOf(const std::string& mail) {
        const std::string label = "boundary=\"";
        const std::size_t start = mail.find(label) + label.size();
        return mail.substr(start, mail.find('"', start) - start);
    }
    static std::string fromFirst(const std::string& text, const std::string& mark) {
        const std::size_t found = text.find(mark);
        return found == std::string::npos ? "no " + mark : text.substr(found);
    }
};

TEST_F(Captures, mailACaptureAtItsTime) {
    root_.write("/ostrel/conf/logfile", noiseOf(100));
    root_.write("/ostrel/conf/messages.5", "the oldest messages\n");
    addCaptureProfile("Ops");
    captureWithoutMailServer();
    EXPECT_THAT(root_.list(kAttachments), ElementsAre("logfile.gz.1", "messages.5.gz.1", "smlCapture.txt.gz.1"));
    const std::string output = staged("smlCapture.txt.gz");
    const std::string log = staged("logfile.gz");
    const std::string messages = staged("messages.5.gz");

    primary_.acceptConnections();
    ASSERT_TRUE(tickUntilMails(1));

    const std::string mail = onlyMail();
    const std::string boundary = boundaryOf(mail);
    EXPECT_EQ(fromFirst(mail, "From: "),
              "From: switch@example.com\r\n"
              "Bcc:  \r\n"
              "Subject: [CallHome-CronCapture: Ops] Lab switch\r\n"
              "MIME-Version: 1.0\r\n"
              "Content-Type: multipart/mixed; boundary=\"" +
                  boundary +
                  "\"\r\n\r\n\r\n"
                  "This is a multi-part MIME format message.  The first part is\r\n"
                  "readable text, while the remaining parts are unreadable without\r\n"
                  "MIME-aware tools.\r\n\r\n"
                  "--" +
                  boundary +
                  "\r\nContent-Type: TEXT/plain; charset=US-ASCII; format=flowed\r\n\r\n"
                  "SN:             SW0000000001\r\n"
                  "DuplicateCount: 0\r\n"
                  "SwitchName:     switch\r\n"
                  "SwitchIP:       192.168.0.1\r\n"
                  "SwitchWWN:      10:00:02:00:00:00:00:01\r\n"
                  "Text:           Message include this text header and Base64 encoded MIME attachments of data "
                  "captured on the switch\r\n"
                  "ID:             8B00.FFFF\r\n"
                  "Time:           Tue, 14  Nov  2023  22:15:20  +0000\r\n"
                  "Capture:        Cron\r\n"
                  "DayOfWeek:      Tue\r\n"
                  "TimeOfDay:      22:15\r\n"
                  "Interval:       1\r\n"
                  "Shell:          clish\r\n"
                  "Command:        show support callhome\r\n"
                  "Attachments:    3\r\n" +
                  partOf(boundary, "smlCapture.txt.gz", output) + partOf(boundary, "logfile.gz", log) +
                  partOf(boundary, "messages.5.gz", messages) + "--" + boundary + "--\r\n\r\n");
    EXPECT_TRUE(tickUntilNothingIsKept());
}

TEST_F(Captures, areQueuedForADayWithoutExpiry) {
    addCaptureProfile("Ops");
    startWithCaptures();
    tickToCheck();
    ASSERT_TRUE(waitForResults(1));

    EXPECT_THAT(traced("OrvCHMesgQ add: testMsg"),
                testing::Contains("OrvCHMesgQ add: testMsg = false, persist = false, persistRepostPeriod = 86400, "
                                  "expireCountdown = -1"));
    EXPECT_THAT(traced("OrvCHCapture handleSucceedMesg: CronCapture succeeded!"), SizeIs(1));
}

// Programs and a library that know nothing of this daemon.
TEST_F(Captures, makeMailsOnWhichIndependentToolsAgree) {
    const std::map<std::string, std::string> logs = {{"logfile", noiseOf(70000)},
                                                     {"logfile.9", std::string(500000, 'x')},
                                                     {"messages", "one line\n"},
                                                     {"messages.1", noiseOf(54 * 18)},
                                                     {"messages.2", ""}};
    for (const auto& [name, content] : logs) {
        root_.write("/ostrel/conf/" + name, content);
    }
    addCaptureProfile("Ops");
    captureWithoutMailServer();
    std::map<std::string, std::string> files = stagedFiles();
    EXPECT_THAT(files, SizeIs(6));

    primary_.acceptConnections();
    ASSERT_TRUE(tickUntilMails(1));

    const std::string mail = onlyMail();
    EXPECT_EQ(judged(mail, files), "");
    for (const auto& [name, content] : logs) {
        const std::string command =
            "gzip -dc " + root_.at("/court/files/" + name + ".gz") + " | cmp - " + root_.at("/ostrel/conf/" + name);
        EXPECT_EQ(std::system(command.c_str()), 0) << name;
    }

    // And they would notice.
    files["logfile.gz"][5000] ^= 1;
    EXPECT_THAT(judged(mail, files), HasSubstr("logfile.gz differs"));
    files.erase("logfile.gz");
    EXPECT_THAT(judged(mail, files), HasSubstr("python found"));
    EXPECT_THAT(judged(mail.substr(0, mail.size() - 10), files), HasSubstr("Defect"));
}

TEST_F(Captures, explainInPlaceOfEachAttachmentThatDoesNotFit) {
    root_.write("/ostrel/conf/logfile", noiseOf(3000));
    root_.write("/ostrel/conf/logfile.1", noiseOf(20));
    root_.write("/ostrel/conf/messages", noiseOf(2500));
    addCaptureProfile("Ops");
    switch_->set("Global.CallhomeDB.Profile.0.MaxSize", "4000");
    captureWithoutMailServer();
    std::map<std::string, std::string> files = stagedFiles();
    const std::string output = staged("smlCapture.txt.gz");
    const std::string small = staged("logfile.1.gz");

    primary_.acceptConnections();
    ASSERT_TRUE(tickUntilMails(1));

    const std::string mail = onlyMail();
    const std::string boundary = boundaryOf(mail);
    const char reason[] = "could not be included or the email message would exceed\r\nthe maximum specified length";
    EXPECT_EQ(fromFirst(mail, "Attachments:    "),
              "Attachments:    4\r\n" + partOf(boundary, "smlCapture.txt.gz", output) +
                  replacedPart(boundary, "logfile.gz", reason) + partOf(boundary, "logfile.1.gz", small) +
                  replacedPart(boundary, "messages.gz", reason) + "--" + boundary + "--\r\n\r\n");
    files.erase("logfile.gz");
    files.erase("messages.gz");
    EXPECT_EQ(judged(mail, files, "--replaced logfile.gz --replaced messages.gz"), "");
    EXPECT_TRUE(tickUntilNothingIsKept());
}

TEST_F(Captures, explainInPlaceOfAnAttachmentThatIsGone) {
    root_.write("/ostrel/conf/logfile", "log");
    addCaptureProfile("Ops");
    captureWithoutMailServer();
    std::map<std::string, std::string> files = stagedFiles();
    const std::string log = staged("logfile.gz");
    std::filesystem::remove(root_.at(std::string(kAttachments) + "/smlCapture.txt.gz.1"));

    primary_.acceptConnections();
    ASSERT_TRUE(tickUntilMails(1));

    const std::string mail = onlyMail();
    const std::string boundary = boundaryOf(mail);
    EXPECT_EQ(fromFirst(mail, "Attachments:    "),
              "Attachments:    2\r\n" +
                  replacedPart(boundary, "smlCapture.txt.gz", "could not be included due to a read error!") +
                  partOf(boundary, "logfile.gz", log) + "--" + boundary + "--\r\n\r\n");
    files.erase("smlCapture.txt.gz");
    EXPECT_EQ(judged(mail, files, "--replaced smlCapture.txt.gz"), "");
}

TEST_F(Captures, countOnOverRestarts) {
    addCaptureProfile("Ops");
    primary_.refuseConnections();
    for (unsigned restart = 1; restart <= 3; ++restart) {
        startWithCaptures();
        tickToCheck();
        ASSERT_TRUE(waitForResults(1));
        const std::string number = std::to_string(restart);
        EXPECT_THAT(root_.list(kAttachments), ElementsAre("smlCapture.txt.gz." + number));
        const std::string bytes = root_.read(kSequence);
        ASSERT_EQ(bytes.size(), 4u);
        EXPECT_EQ(bytes[0] + bytes[3], static_cast<int>(restart));  // in the processor's own order
        restartSwitch();
        if (restart == 2) {
            std::filesystem::remove(root_.at("/tmp/smlCapture.txt"));  // which changes nothing
        }
    }
}

TEST_F(Captures, keepTheDaemonFromStartingWhenTheirNumberCannotBeRead) {
    const std::string path = root_.at(kSequence);
    const std::pair<const char*, std::function<void()>> broken[] = {
        {"empty", [this] { root_.write(kSequence, ""); }},
        {"too short", [this] { root_.write(kSequence, "abc"); }},
        {"a directory", [&path] { std::filesystem::create_directories(path); }},
        {"not to be examined", [&path] { std::filesystem::create_symlink("capture.seq", path); }},
        {"a pipe", [&path] { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); }},
        {"not to be read", [&path] { std::filesystem::create_symlink("/proc/self/mem", path); }},
    };
    for (const auto& [name, makeBroken] : broken) {
        std::filesystem::create_directories(root_.at("/ostrel/conf/orv/callHome"));
        std::filesystem::remove_all(path);
        makeBroken();
        try {
            startDaemon();
            ADD_FAILURE() << name;
        } catch (const OrvFileError& error) {
            EXPECT_STREQ(error.what(), "Read Error for file /ostrel/conf/orv/callHome/capture.seq") << name;
        }
        restartSwitch();
    }
}

// Kept: only the first four bytes are read.
TEST_F(Captures, countOnFromTheFirstFourBytesOfALongerFile) {
    root_.write(kSequence, std::string(4, '\0') + "x");
    addCaptureProfile("Ops");
    startWithCaptures();
    tickToCheck();
    ASSERT_TRUE(waitForResults(1));

    EXPECT_THAT(root_.list(kAttachments), ElementsAre("smlCapture.txt.gz.1"));
    EXPECT_EQ(root_.read(kSequence).size(), 4u);
}

TEST_F(Captures, areRegisteredForProfilesThatEnableThem) {
    addCaptureProfile("Ops");
    addCaptureProfile("Off");
    switch_->set("Global.CallhomeDB.Profile.1.CaptureEnable", "False");
    addCaptureProfile("None");
    switch_->set("Global.CallhomeDB.Profile.2.CaptureEntries", "0");
    addCaptureProfile("Dev", "23:00", "Wed");
    startWithCaptures();

    EXPECT_THAT(scheduled(),
                ElementsAre("Ops Tue, 14  Nov  2023  22:15:00  +0000", "Dev Wed, 15  Nov  2023  23:00:00  +0000"));
}

TEST_F(Captures, goToTheProfileOfExactlyTheirOwnersName) {
    addCaptureProfile("Ops");
    startWithCaptures();
    supportThatWaits();
    tickToCheck();
    ASSERT_TRUE(waitUntilItRuns());
    for (const char* similar : {"ops", "Ops ", "Op", "Opss"}) {
        addProfile({.name = similar});
    }
    switch_->set("Global.CallhomeDB.ProfileList.0", "OPS");
    tellOfChanges();
    letGoOn();
    ASSERT_TRUE(waitForResults(1));

    EXPECT_THAT(traced("Profile Ops deleted or renamed, cannot retreive envelope for message, deleting...!"),
                SizeIs(1));
    EXPECT_THAT(root_.list(kAttachments), IsEmpty());
}

TEST_F(Captures, areRefusedWhenTheyExceedTheQuota) {
    root_.write("/ostrel/conf/logfile", noiseOf(200000));
    addCaptureProfile("Ops");
    switch_->set("Global.Callhome.FileSystemSpaceAllowed", "100000");
    startWithCaptures();
    tickToCheck();
    ASSERT_TRUE(waitForResults(1));

    EXPECT_THAT(switch_->eventTexts(15), testing::Contains("Message is too large"));
    EXPECT_THAT(root_.list(kAttachments), IsEmpty());
    EXPECT_THAT(root_.list(kSendQueue), IsEmpty());
}

// A capture that finds the flash full when its message is saved is mailed from memory.
TEST_F(Captures, areMailedAlthoughTheFlashIsFullWhenTheyAreSaved) {
    addCaptureProfile("Ops");
    startWithCaptures();
    supportThatWaits();
    tickToCheck();
    ASSERT_TRUE(waitUntilItRuns());
    letGoOn();
    // The capture's files are made by the thread meanwhile; the main thread does not save before it is let run.
    const std::string target = std::string(kAttachments) + "/smlCapture.txt.gz.1";
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    const auto done = [&] {
        const std::vector<std::string> lines = root_.trace("orv.out.Capture");
        return root_.exists(target) && !lines.empty() &&
               lines.back().find("Skipping /ostrel/conf/messages.5: ") != std::string::npos;
    };
    while (!done() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    ASSERT_TRUE(done());
    {
        const SmallFlash flash(100);
        ASSERT_TRUE(switch_->runUntil([this] { return root_.list(kSendQueue).size() == 2; }));
    }
    EXPECT_LE(root_.read(std::string(kSendQueue) + "/m0").size(), 100u);

    switch_->tick(2);
    ASSERT_TRUE(waitForMails(primary_, 1));
    EXPECT_THAT(onlyMail(), HasSubstr("Attachments:    1\r\n"));
    EXPECT_TRUE(tickUntilNothingIsKept());
}

TEST_F(Captures, dueInOneCheckFinishInOrderOneAtATimeWhileTheMainThreadTicks) {
    std::vector<std::string> subjects;
    for (const char* name : {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}) {
        addCaptureProfile(name);
    }
    startWithCaptures();
    supportThatWaits();
    tickToCheck();
    ASSERT_TRUE(waitUntilItRuns());
    EXPECT_EQ(started(), 10u);

    // No other capture runs meanwhile, but what happens on the switch is mailed as ever.
    switch_->publishLog(0, 0x00010002, "Blade fault detected in slot 3");
    switch_->tick(120);
    ASSERT_TRUE(waitForMails(primary_, 10));
    EXPECT_EQ(root_.read("/tmp/runs"), "start\n");
    letGoOn();
    ASSERT_TRUE(waitForResults(10));
    ASSERT_TRUE(tickUntilMails(20));

    std::string runs;
    std::vector<std::string> expected;
    for (const char* name : {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}) {
        runs += "start\nend\n";
        expected.push_back(std::string(name) + "@example.com");
    }
    EXPECT_EQ(root_.read("/tmp/runs"), runs);
    std::vector<std::string> recipients;
    for (const ScriptedMail& mail : primary_.mailsTaken()) {
        recipients.insert(recipients.end(), mail.recipients.begin(), mail.recipients.end());
    }
    // The event to each, then the captures.
    std::vector<std::string> twice = expected;
    twice.insert(twice.end(), expected.begin(), expected.end());
    EXPECT_EQ(recipients, twice);
    EXPECT_TRUE(tickUntilNothingIsKept());
}

}  // namespace
