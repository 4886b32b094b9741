// Mails of the conforming dialogue, byte for byte.
#include "smtp/OrvConformingMail.h"
#include "base/OrvMutex.h"
#include "testing/smtp/MailFixture.h"

#include <gmock/gmock.h>

#include <string>

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class OrvConformingMailTest : public MailTest {
protected:
    std::string mailOf(const OrvCHMesg& message, bool eightBit = true, std::size_t position = 0) {
        const TestIdentity identity(identity_);
        OrvConformingMail mail;
        EXPECT_EQ(
            mail.compose({identity.common(), message, *message.Envelopes[position], presentedAs_, position}, eightBit),
            0);
        return mail.text;
    }
    static std::string idOf(const std::string& mail) {
        const std::size_t at = mail.find("\r\nMessage-ID: ");
        return mail.substr(at, mail.find("\r\n", at + 2) - at);
    }

    OrvIdentity identity_ = fullIdentity();
    const std::string presentedAs_ = "10.1.2.3";
    std::unique_ptr<OrvCHMesg> message_ = portEvent();
    OrvCHEnvelope& envelope_ = addEnvelope(*message_, "noc", {"a@x"}, "ShortText");
};

// Without the header, whose Message-ID is a digest.
std::string bodyOf(const std::string& mail) {
    return mail.substr(mail.find("\r\n\r\n") + 4);
}

}  // namespace

TEST_F(OrvConformingMailTest, hasTheHeaderThatParsersTakeAndTheLinesOfEveryMail) {
    const std::string mail = mailOf(*message_);

    EXPECT_THAT(mail, StartsWith("Date: Tue, 14 Nov 2023 22:13:20 +0000\r\n"
                                 "From: switch@example.com\r\n"
                                 "To: undisclosed-recipients:;\r\n"
                                 "Reply-To: ops@example.com\r\n"
                                 "Subject: [CallHome: noc] Switch event\r\n"
                                 "Message-ID: <"));
    EXPECT_THAT(mail, HasSubstr("@switch100000051e000001.callhome>\r\n"
                                "MIME-Version: 1.0\r\n"
                                "Content-Type: text/plain; charset=us-ascii\r\n"
                                "Content-Transfer-Encoding: 7bit\r\n"
                                "\r\n"));
    EXPECT_EQ(bodyOf(mail), std::string(kMailSwitch) + kMailTime + kMailDetails);
}

TEST_F(OrvConformingMailTest, hasTheSameMessageIdAtEveryTryAndAfterARestart) {
    message_->FileName = "/tmp/m1";
    const std::string id = idOf(mailOf(*message_));
    clock_.advance(3600 * 1000);
    clock_.setCalendar(1700003600);
    {
        const Mt::Lock lock(message_->lock());
        ASSERT_EQ(message_->save(), 0);
    }
    OrvCHMesg restored;
    restored.FileName = "/tmp/m1";
    ASSERT_EQ(restored.restore(), 0);
    restored.Envelopes[0]->Recipients = {"$a@x"};
    identity_.From = "other@example.com";

    EXPECT_EQ(idOf(mailOf(*message_)), id);
    EXPECT_EQ(idOf(mailOf(restored)), id);
}

TEST_F(OrvConformingMailTest, hasAMessageIdOfItsOwn) {
    addEnvelope(*message_, "noc", {"b@x"}, "ShortText");
    addEnvelope(*message_, "other", {"b@x"}, "ShortText");
    std::vector<std::string> ids{idOf(mailOf(*message_)), idOf(mailOf(*message_, true, 1)),
                                 idOf(mailOf(*message_, true, 2))};
    const auto with = [&](std::string OrvCHMesg::*field, const char* value) {
        const std::string before = std::exchange((*message_).*field, value);
        ids.push_back(idOf(mailOf(*message_)));
        (*message_).*field = before;
    };
    with(&OrvCHMesg::Time, "Tue Nov 14 22:13:19.124 UTC 2023");
    with(&OrvCHMesg::Text, "Port 6 went down");
    with(&OrvCHMesg::ID, "0123.4568");
    message_->logEvent()->Port = "6";
    ids.push_back(idOf(mailOf(*message_)));
    {
        const Mt::Lock lock(message_->lock());
        message_->DuplicateCount = 1;
    }
    ids.push_back(idOf(mailOf(*message_)));
    identity_.WWN = "10:00:00:05:1e:00:00:02";
    ids.push_back(idOf(mailOf(*message_)));

    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
}

TEST_F(OrvConformingMailTest, saysWhichCharactersItHolds) {
    message_->Text = "L\u00FCfter";
    EXPECT_THAT(mailOf(*message_), HasSubstr("charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"));
    EXPECT_THAT(mailOf(*message_, false),
                HasSubstr("charset=utf-8\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n"));
    message_->Text =
        "L\xFC"
        "fter";
    EXPECT_THAT(mailOf(*message_, false), HasSubstr("charset=iso-8859-1\r\n"));
    EXPECT_THAT(mailOf(*message_, false), HasSubstr("L=FCfter"));
}

TEST_F(OrvConformingMailTest, endsAtItsLimitWithAWholeLine) {
    envelope_.MaxSize = 650;
    const std::string mail = mailOf(*message_);

    EXPECT_LE(mail.size(), 650u);
    EXPECT_THAT(mail, EndsWith("\r\n"));
    EXPECT_THAT(mail, Not(EndsWith(" \r\n")));
    envelope_.MaxSize = 100;
    EXPECT_EQ(bodyOf(mailOf(*message_)), "");
}

TEST_F(OrvConformingMailTest, holdsNoLineThatIsTooLong) {
    message_->Text = std::string(3000, 'x');
    const std::string mail = mailOf(*message_);

    for (std::size_t begin = 0; begin < mail.size();) {
        const std::size_t end = mail.find("\r\n", begin);
        EXPECT_LE(end - begin, 998u);
        begin = end + 2;
    }
    EXPECT_THAT(mail, HasSubstr("\r\n" + std::string(998, 'x') + "\r\n"));
}

TEST_F(OrvConformingMailTest, bringsACaptureInPartsThatBeginALine) {
    auto capture = captureOf({"report", "torn"});
    addEnvelope(*capture, "noc", {"a@x"}, "ShortText");
    root_.write("/ostrel/conf/orv/callHome/attachments/report.17", "QUJD\r\n");
    root_.write("/ostrel/conf/orv/callHome/attachments/torn.17", "QUJDREVG");

    const std::string mail = mailOf(*capture);

    const std::string boundary = "--6553ef90-CallHome-CronCapture-6553ef90";
    EXPECT_THAT(mail, HasSubstr("Content-Type: multipart/mixed; boundary=\"6553ef90-CallHome-CronCapture-6553ef90\"\r\n"
                                "\r\nThis is a multi-part"));
    EXPECT_THAT(mail, HasSubstr(boundary + "\r\nContent-Type: text/plain; charset=us-ascii\r\n"
                                           "Content-Transfer-Encoding: 7bit\r\n\r\n"));
    EXPECT_THAT(mail, HasSubstr("\r\n\r\nQUJD\r\n" + boundary + "\r\n"));
    EXPECT_THAT(mail, EndsWith("\r\n\r\nQUJDREVG\r\n" + boundary + "--\r\n"));
}

TEST_F(OrvConformingMailTest, bringsACaptureAtItsLimitInPartsThatBeginALine) {
    auto capture = captureOf({"report"});
    addEnvelope(*capture, "noc", {"a@x"}, "ShortText", 700);

    const std::string mail = mailOf(*capture);

    EXPECT_THAT(mail, HasSubstr("\r\n--6553ef90-CallHome-CronCapture-6553ef90\r\nContent-Type: TEXT/plain"));
    EXPECT_THAT(mail, EndsWith("\r\n--6553ef90-CallHome-CronCapture-6553ef90--\r\n"));
}

TEST_F(OrvConformingMailTest, saysThatItsPartsHoldOtherCharacters) {
    auto capture = captureOf({});
    capture->Text = "L\u00FCfter";
    addEnvelope(*capture, "noc", {"a@x"}, "ShortText");

    EXPECT_THAT(mailOf(*capture), HasSubstr("CronCapture-6553ef90\"\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"));
    EXPECT_THAT(mailOf(*capture, false), Not(HasSubstr("8bit")));
}

TEST_F(OrvConformingMailTest, isNoneOfAMessageOfAnUnknownKind) {
    OrvCHMesg nothing;
    addEnvelope(nothing, "noc", {"a@x"}, "ShortText");
    const TestIdentity identity(identity_);
    OrvConformingMail mail;

    EXPECT_EQ(mail.compose({identity.common(), nothing, *nothing.Envelopes[0], presentedAs_, 0}, true), -1);
}
