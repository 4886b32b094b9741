#include "smtp/OrvMailComposer.h"
#include "testing/smtp/MailFixture.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr char kHead[] =
    "Date: Tue, 14  Nov  2023  22:13:20  +0000\r\n"
    "From: switch@example.com\r\n"
    "Bcc:  \r\n"
    "Reply-To: ops@example.com\r\n"
    "Subject: [CallHome-CronCapture: noc] Switch event\r\n"
    "MIME-Version: 1.0\r\n"
    "Content-Type: multipart/mixed; boundary=\"6553ef90-CallHome-CronCapture-6553ef90\"\r\n"
    "\r\n\r\n";
constexpr char kPreamble[] =
    "This is a multi-part MIME format message.  The first part is\r\n"
    "readable text, while the remaining parts are unreadable without\r\n"
    "MIME-aware tools.\r\n\r\n"
    "--6553ef90-CallHome-CronCapture-6553ef90\r\n"
    "Content-Type: TEXT/plain; charset=US-ASCII; format=flowed\r\n\r\n";
constexpr char kBoundaryLine[] = "--6553ef90-CallHome-CronCapture-6553ef90\r\n";
constexpr char kClosingLine[] = "--6553ef90-CallHome-CronCapture-6553ef90--\r\n";
constexpr char kReplacement[] =
    "Content-Type: TEXT/plain; charset=US-ASCII; format=flowed\r\n\r\n"
    "The attachment file:\r\n        ";
constexpr char kReadError[] = "\r\ncould not be included due to a read error!\r\n\r\n";
constexpr char kTooLarge[] =
    "\r\ncould not be included or the email message would exceed\r\nthe maximum specified length\r\n\r\n";
constexpr char kAttachments[] = "/ostrel/conf/orv/callHome/attachments/";

std::string body(const std::string& attachments, const std::string& duplicateCount = "0",
                 const std::string& time = "Tue, 14  Nov  2023  22:13:00  +0000") {
    return "SN:             SN0042\r\n"
           "DuplicateCount: " +
           duplicateCount +
           "\r\n"
           "SwitchName:     sw-core-1\r\n"
           "SwitchIP:       sw01.example.com\r\n"
           "SwitchWWN:      10:00:00:05:1e:00:00:01\r\n"
           "Text:           Scheduled capture\r\n"
           "ID:             8B00.FFFF\r\n"
           "Time:           " +
           time +
           "\r\n"
           "Capture:        Cron\r\n"
           "DayOfWeek:      Tue\r\n"
           "TimeOfDay:      22:13\r\n"
           "Interval:       2\r\n"
           "Shell:          clish\r\n"
           "Command:        show support callhome\r\n"
           "Attachments:    " +
           attachments + "\r\n";
}

std::string part(const std::string& name) {
    return kBoundaryLine + ("Content-Type: APPLICATION/x-gzip; filename=" + name) +
           "\r\nContent-Transfer-Encoding: BASE64\r\nContent-Description: " + name +
           "\r\nContent-Disposition: attachment; filename=" + name + "\r\n\r\n";
}

std::string base64Lines(std::size_t bytes) {
    std::string text;
    while (text.size() < bytes) {
        text += std::string(72, static_cast<char>('A' + text.size() % 26)) + "\r\n";
    }
    return text;
}

class OrvMimeMail : public MailTest {
protected:
    void stage(const std::string& name, const std::string& bytes) { root_.write(kAttachments + name + ".17", bytes); }

    std::string mail(OrvCHMesg& message, std::uint32_t maxSize = 1000000) {
        OrvCHEnvelope& envelope = addEnvelope(message, "noc", {"a@example.com"}, "Tsc1", maxSize);
        const TestIdentity identity(identity_);
        std::string text;
        EXPECT_EQ(OrvMailComposer(identity.common()).compose(message, envelope, "sw01.example.com", text), 0);
        return text;
    }

    // The copies of mails in "/tmp/", by number.
    std::vector<unsigned> copies() const {
        std::vector<unsigned> numbers;
        for (const std::string& name : root_.list("/tmp")) {
            if (name.starts_with("output.")) {
                numbers.push_back(static_cast<unsigned>(std::stoul(name.substr(7))));
            }
        }
        std::sort(numbers.begin(), numbers.end());
        return numbers;
    }

    unsigned nextCopy() {
        const auto message = captureOf({});
        mail(*message);
        const unsigned last = copies().back();
        ::unlink(root_.at("/tmp/output." + std::to_string(last)).c_str());
        return last + 1;
    }

    OrvIdentity identity_ = fullIdentity();
};

}  // namespace

TEST_F(OrvMimeMail, holdsAReadablePartAndEachAttachmentInOrder) {
    stage("smlCapture.txt.gz", "H4sIAAAA\r\n");
    stage("logfile.gz", "H4sIBBBB\r\nCCCC\r\n");
    const auto message = captureOf({"smlCapture.txt.gz", "logfile.gz"});

    EXPECT_EQ(mail(*message), std::string(kHead) + kPreamble + body("2") + part("smlCapture.txt.gz") + "H4sIAAAA\r\n" +
                                  part("logfile.gz") + "H4sIBBBB\r\nCCCC\r\n" + kClosingLine);
}

TEST_F(OrvMimeMail, closesAtOnceWithoutAttachments) {
    const auto message = captureOf({});

    EXPECT_EQ(mail(*message), std::string(kHead) + kPreamble + body("0") + kClosingLine);
}

TEST_F(OrvMimeMail, showsTheLastDuplicatesTime) {
    const auto message = captureOf({});
    message->DuplicateCount = 2;
    message->DuplicateTime = "Tue Nov 14 23:00:00 UTC 2023";

    EXPECT_EQ(mail(*message),
              std::string(kHead) + kPreamble + body("0", "2", "Tue Nov 14 23:00:00 UTC 2023") + kClosingLine);
}

TEST_F(OrvMimeMail, keepsEveryLabelOfAnEmptyValueButTheSerialNumbers) {
    identity_ = OrvIdentity();
    OrvCHMesg message(OrvCHMesg::kCronCapture);
    message.cronCapture()->Boundary = "B";

    EXPECT_EQ(mail(message),
              "Date: Tue, 14  Nov  2023  22:13:20  +0000\r\n"
              "Bcc:  \r\n"
              "Subject: [CallHome-CronCapture: noc] Switch event\r\n"
              "MIME-Version: 1.0\r\n"
              "Content-Type: multipart/mixed; boundary=\"B\"\r\n"
              "\r\n\r\n"
              "This is a multi-part MIME format message.  The first part is\r\n"
              "readable text, while the remaining parts are unreadable without\r\n"
              "MIME-aware tools.\r\n\r\n"
              "--B\r\n"
              "Content-Type: TEXT/plain; charset=US-ASCII; format=flowed\r\n\r\n"
              "DuplicateCount: 0\r\n"
              "SwitchName:     \r\n"
              "SwitchIP:       sw01.example.com\r\n"
              "SwitchWWN:      \r\n"
              "Text:           \r\n"
              "ID:             \r\n"
              "Time:           \r\n"
              "Capture:        Cron\r\n"
              "DayOfWeek:      \r\n"
              "TimeOfDay:      \r\n"
              "Interval:       \r\n"
              "Shell:          \r\n"
              "Command:        \r\n"
              "Attachments:    0\r\n"
              "--B--\r\n");
}

TEST_F(OrvMimeMail, explainsAnAttachmentThatIsNotThereAndGoesOn) {
    stage("logfile.gz", "H4sIBBBB\r\n");
    const auto message = captureOf({"smlCapture.txt.gz", "logfile.gz"});
    takeTraces();

    EXPECT_EQ(mail(*message), std::string(kHead) + kPreamble + body("2") + kBoundaryLine + kReplacement +
                                  "smlCapture.txt.gz" + kReadError + part("logfile.gz") + "H4sIBBBB\r\n" +
                                  kClosingLine);

    EXPECT_THAT(takeTraces(), testing::Contains("compileAttachment: /ostrel/conf/orv/callHome/attachments/"
                                                "smlCapture.txt.gz.17: No such file or directory"));
}

TEST_F(OrvMimeMail, explainsAnAttachmentThatWouldTakeTheMailToItsLimit) {
    const std::string contents = base64Lines(500);
    stage("logfile.gz", contents);
    const auto message = captureOf({"logfile.gz"});
    const std::string before = std::string(kHead) + kPreamble + body("1") + kBoundaryLine;
    const auto exact = static_cast<std::uint32_t>(before.size() + contents.size());
    takeTraces();

    EXPECT_EQ(mail(*message, exact), before + kReplacement + "logfile.gz" + kTooLarge + kClosingLine);

    EXPECT_THAT(takeTraces(),
                testing::Contains("compileAttachment: /ostrel/conf/orv/callHome/attachments/logfile.gz.17: Including "
                                  "attachment will cause the email message to exceed the specified limit of " +
                                  std::to_string(exact) + " bytes"));
}

TEST_F(OrvMimeMail, takesAnAttachmentThatStaysOneByteBelowTheLimitWhateverItsPartsHeadersAdd) {
    const std::string contents = base64Lines(500);
    stage("logfile.gz", contents);
    const auto message = captureOf({"logfile.gz"});
    const std::string before = std::string(kHead) + kPreamble + body("1");
    const auto limit =
        static_cast<std::uint32_t>(before.size() + std::string(kBoundaryLine).size() + contents.size() + 1);

    EXPECT_EQ(mail(*message, limit), before + part("logfile.gz") + contents + kClosingLine);
}

TEST_F(OrvMimeMail, explainsAnAttachmentThatCannotBeReadBehindItsPartsHeaders) {
    ASSERT_EQ(::mkdir(root_.at("/ostrel/conf/orv").c_str(), 0755), 0);
    stage("other", "");
    ASSERT_EQ(::mkdir(root_.at(std::string(kAttachments) + "logfile.gz.17").c_str(), 0755), 0);
    const auto message = captureOf({"logfile.gz"});
    takeTraces();

    EXPECT_EQ(mail(*message), std::string(kHead) + kPreamble + body("1") + part("logfile.gz") + kReplacement +
                                  "logfile.gz" + kReadError + kClosingLine);

    EXPECT_THAT(takeTraces(), testing::Contains("addFile: File /ostrel/conf/orv/callHome/attachments/"
                                                "logfile.gz.17: bad read!"));
}

TEST_F(OrvMimeMail, readsAttachmentsOfEverySizeAroundItsChunks) {
    for (const std::size_t size : {0u, 1u, 1023u, 1024u, 1025u, 2048u, 5000u, 100000u}) {
        SCOPED_TRACE(size);
        const std::string contents = base64Lines(size).substr(0, size);
        stage("logfile.gz", contents);
        const auto message = captureOf({"logfile.gz"});
        EXPECT_EQ(mail(*message),
                  std::string(kHead) + kPreamble + body("1") + part("logfile.gz") + contents + kClosingLine);
    }
}

TEST_F(OrvMimeMail, cutsAChunkOfAnAttachmentAtAZeroByte) {
    stage("logfile.gz", std::string(100, 'A') + '\0' + std::string(923, 'B') + "next chunk");
    const auto message = captureOf({"logfile.gz"});

    EXPECT_EQ(mail(*message), std::string(kHead) + kPreamble + body("1") + part("logfile.gz") + std::string(100, 'A') +
                                  "next chunk" + kClosingLine);
}

TEST_F(OrvMimeMail, doesNotWaitForAPipeInAnAttachmentsPlace) {
    stage("other", "");
    ASSERT_EQ(::mkfifo(root_.at(std::string(kAttachments) + "logfile.gz.17").c_str(), 0600), 0);
    const auto message = captureOf({"logfile.gz"});

    EXPECT_EQ(mail(*message), std::string(kHead) + kPreamble + body("1") + part("logfile.gz") + kClosingLine);
}

TEST_F(OrvMimeMail, gluesTheBoundaryToTheBlanksOfACutMail) {
    const auto message = captureOf({});
    const auto limit = static_cast<std::uint32_t>(std::string(kHead).size() + std::string(kPreamble).size() + 40);

    EXPECT_EQ(mail(*message, limit),
              std::string(kHead) + kPreamble + "SN:             SN0042\r\n" + std::string(16, ' ') + kClosingLine);
}

TEST_F(OrvMimeMail, addsPreambleAndBoundariesBeyondTheLimit) {
    const auto message = captureOf({});

    EXPECT_EQ(mail(*message, 10), std::string(10, ' ') + kPreamble + kClosingLine);
}

TEST_F(OrvMimeMail, leavesACopyWithoutTheClosingBoundaryUnderTheNextNumber) {
    const unsigned next = nextCopy();
    stage("logfile.gz", "H4sIBBBB\r\n");
    const auto message = captureOf({"logfile.gz"});

    const std::string first = mail(*message);
    const std::string second = mail(*message);

    const std::string copy = std::string(kHead) + kPreamble + body("1") + part("logfile.gz") + "H4sIBBBB\r\n";
    EXPECT_THAT(copies(), ElementsAre(next, next + 1));
    EXPECT_EQ(root_.read("/tmp/output." + std::to_string(next)), copy);
    EXPECT_EQ(root_.read("/tmp/output." + std::to_string(next + 1)), copy);
    EXPECT_EQ(first, copy + kClosingLine);
    EXPECT_EQ(second, first);
}

TEST_F(OrvMimeMail, leavesItsCopyWithItsMode) {
    const std::pair<mode_t, mode_t> rows[] = {{0, 0666}, {022, 0644}, {077, 0600}};
    for (const auto& [mask, mode] : rows) {
        const std::string path = "/tmp/output." + std::to_string(nextCopy());
        const auto message = captureOf({});
        const mode_t former = ::umask(mask);
        mail(*message);
        ::umask(former);
        struct stat status {};
        ASSERT_EQ(::stat(root_.at(path).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, mode);
        ::unlink(root_.at(path).c_str());
    }
}

TEST_F(OrvMimeMail, replacesAnOlderCopyOfTheSameNumber) {
    const std::string path = "/tmp/output." + std::to_string(nextCopy());
    root_.write(path, std::string(10000, 'x'));
    const auto message = captureOf({});

    const std::string text = mail(*message);

    EXPECT_EQ(root_.read(path) + kClosingLine, text);
}

TEST_F(OrvMimeMail, doesNotFollowALinkInTheCopysPlace) {
    const std::string path = "/tmp/output." + std::to_string(nextCopy());
    root_.write("/tmp/victim", "untouched");
    ASSERT_EQ(::symlink(root_.at("/tmp/victim").c_str(), root_.at(path).c_str()), 0);
    const auto message = captureOf({});

    EXPECT_THAT(mail(*message), StartsWith(kHead));

    EXPECT_EQ(root_.read("/tmp/victim"), "untouched");
}

TEST_F(OrvMimeMail, goesOutAlthoughItsCopyCannotBeWritten) {
    const std::string path = "/tmp/output." + std::to_string(nextCopy());
    ASSERT_EQ(::mkfifo(root_.at(path).c_str(), 0600), 0);
    const auto message = captureOf({});
    takeTraces();

    EXPECT_EQ(mail(*message), std::string(kHead) + kPreamble + body("0") + kClosingLine);

    EXPECT_THAT(takeTraces(), testing::Contains(HasSubstr("orvWriteMailCopy: " + path + ": ")));
}

TEST_F(OrvMimeMail, makesNoCopyOfATextMail) {
    const auto message = portEvent();

    mail(*message);

    EXPECT_THAT(copies(), ElementsAre());
}
